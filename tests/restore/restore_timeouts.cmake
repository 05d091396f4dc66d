# Included by CTest after the discovery of the cases of this folder.
foreach(suite restore_test)
  if(${suite}_TESTS)
    set_tests_properties(${${suite}_TESTS} PROPERTIES TIMEOUT 60 LABELS restore)
  endif()
endforeach()
