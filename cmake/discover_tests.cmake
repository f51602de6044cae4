include(GoogleTest)

# Makes each test of a GoogleTest program a test of ctest, under the names that the cases give themselves.
function(zrt_discover_tests target)
    gtest_discover_tests(${target} TEST_PREFIX ${ARGN} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60)
endfunction()
