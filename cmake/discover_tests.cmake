include(GoogleTest)

# zrt_discover_tests(TARGET prefix): each case of a GoogleTest program is a test of ctest, under the name that the case
# gives itself. With sanitizers, where starting a program takes longer than most cases, the whole program is one test.
function(zrt_discover_tests target prefix)
    add_dependencies(test_programs ${target})
    if(ZRTMON_SANITIZE)
        add_test(NAME ${prefix}all COMMAND ${target} --gtest_brief=1)
    else()
        gtest_discover_tests(${target} TEST_PREFIX ${prefix} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60)
    endif()
endfunction()
