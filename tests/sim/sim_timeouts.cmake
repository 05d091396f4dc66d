# Included by CTest after the discovery of sim_test's cases.
if(sim_test_TESTS)
  set_tests_properties(${sim_test_TESTS} PROPERTIES TIMEOUT 120 LABELS sim)
endif()
