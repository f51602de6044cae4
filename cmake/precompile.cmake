# Precompiled headers, where ZRTMON_PRECOMPILE is on: reading the standard library's headers takes about half of most
# compilations. Builds without them (lint and the packages) find an include that a source forgot.
#
# Two headers are compiled once for everything, since the compiler accepts one only with the options that it was made
# with: libraries and programs differ in theirs.
if(ZRTMON_PRECOMPILE AND NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(ZRTMON_SHARED_PRECOMPILED ON)
    if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # False for texts that come out of a precompiled header. The packages are built with these warnings.
        target_compile_options(zrt_options INTERFACE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
    set(standard_headers <algorithm> <atomic> <cstdint> <cstring> <exception> <filesystem> <fstream> <functional> <list> <map>
        <memory> <mutex> <optional> <set> <span> <sstream> <string> <string_view> <utility> <variant> <vector>)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/precompiled/library.cpp CONTENT "")
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/precompiled/tests.cpp CONTENT "int main() { return 0; }\n")
    add_library(zrt_library_headers OBJECT ${PROJECT_BINARY_DIR}/precompiled/library.cpp)
    target_link_libraries(zrt_library_headers PRIVATE zrt_options)
    target_precompile_headers(zrt_library_headers PRIVATE ${standard_headers})
    if(ZRTMON_TESTS)
        add_executable(zrt_test_headers ${PROJECT_BINARY_DIR}/precompiled/tests.cpp)
        target_link_libraries(zrt_test_headers PRIVATE zrt_options GTest::gtest)
        target_precompile_headers(zrt_test_headers PRIVATE ${standard_headers} <gtest/gtest.h>)
    endif()
else()
    set(ZRTMON_SHARED_PRECOMPILED OFF)
endif()

# zrt_precompile(targets...): libraries of the product.
function(zrt_precompile)
    foreach(target IN LISTS ARGN)
        if(ZRTMON_SHARED_PRECOMPILED)
            target_precompile_headers(${target} REUSE_FROM zrt_library_headers)
        elseif(ZRTMON_PRECOMPILE AND WIN32)
            target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/platform/win32.h)
        endif()
    endforeach()
endfunction()

# zrt_precompile_tests(targets...): programs of tests.
function(zrt_precompile_tests)
    foreach(target IN LISTS ARGN)
        if(ZRTMON_SHARED_PRECOMPILED)
            target_precompile_headers(${target} REUSE_FROM zrt_test_headers)
        elseif(ZRTMON_PRECOMPILE)
            target_precompile_headers(${target} PRIVATE <gtest/gtest.h>)
        endif()
    endforeach()
endfunction()
