# Included by CTest after the discovery of the lifecycle suites' cases.
foreach(suite lifecycle_test lifecycle_guard_test)
  if(${suite}_TESTS)
    set_tests_properties(${${suite}_TESTS} PROPERTIES TIMEOUT 120 LABELS lifecycle)
  endif()
endforeach()
