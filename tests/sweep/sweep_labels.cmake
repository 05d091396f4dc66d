# Included by CTest after the discovery of the cases of this folder.
foreach(suite fault_sweep_test entry_inputs_test)
  if(${suite}_TESTS)
    set_tests_properties(${${suite}_TESTS} PROPERTIES LABELS sweep)
  endif()
endforeach()
