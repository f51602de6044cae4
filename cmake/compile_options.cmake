# Options of every target of the project.
add_library(zrt_options INTERFACE)
target_include_directories(zrt_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(zrt_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Werror)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # False for a text plus a std::string at -O3. In this configuration alone: clang-tidy reads those of dev.
    target_compile_options(zrt_options INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()

if(ZRTMON_SANITIZE)
    add_compile_options(-fsanitize=${ZRTMON_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${ZRTMON_SANITIZE})
    add_compile_options(-w) # instrumented code gives false warnings; the dev preset compiles the same sources with all
endif()

if(ZRTMON_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link) # coverage for the fuzzer that a target links
endif()

if(WIN32)
    # Before Windows 7 the bidi entry is the last of MONITOR2; the table must not grow with the SDK.
    target_compile_definitions(zrt_options INTERFACE _WIN32_WINNT=0x0600 NTDDI_VERSION=0x06000000)
    # No separate run-time library, and no code that is not used.
    add_compile_options(-ffunction-sections -fdata-sections)
    add_link_options(-static -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat)
    if(CMAKE_SIZEOF_VOID_P EQUAL 8)
        add_link_options(-Wl,--high-entropy-va)
    endif()
endif()
