# Every CTest test gets a time limit, so that a hung test fails on its own
# instead of eating CI's whole run. Suites that need longer say so:
# hitachifi_add_gtest(... TIMEOUT <seconds>), or set_tests_properties(<test>
# PROPERTIES TIMEOUT <seconds>) after add_test.
set(HITACHIFI_TEST_TIMEOUT 60 CACHE STRING "Default time limit of a CTest test, in seconds")

# add_test gives the default to the test it registers. It wraps the built-in
# command rather than adding a command of our own, so that no test added
# later (by us or by a module) can miss it. Test properties belong to the
# directory that adds the test, and CMake before 3.28 cannot set them from
# anywhere else.
function(add_test)
  _add_test(${ARGV})
  cmake_parse_arguments(_arg "" "NAME" "" ${ARGV})
  if(_arg_NAME)
    set_tests_properties(${_arg_NAME} PROPERTIES TIMEOUT ${HITACHIFI_TEST_TIMEOUT})
  else()
    set_tests_properties(${ARGV0} PROPERTIES TIMEOUT ${HITACHIFI_TEST_TIMEOUT})
  endif()
endfunction()
