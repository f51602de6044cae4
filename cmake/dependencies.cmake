# Every package that the build looks up, in one place; docs/decisions.md gives the reason for each.
if(NOT WIN32)
    find_package(Threads REQUIRED)
    find_package(LibXml2 REQUIRED)
    find_package(GTest REQUIRED)
    find_package(benchmark REQUIRED)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    find_package(SQLite3 REQUIRED)
    find_package(sdbus-c++ REQUIRED)
    find_program(ZRTMON_SDBUS_XML2CPP sdbus-c++-xml2cpp REQUIRED)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(libsystemd REQUIRED IMPORTED_TARGET libsystemd)
    return()
endif()

# zrt_foreign_headers(TARGET folder header): a header-only library of the build machine as the target that its package
# would define. The cross compiler sees that one folder and no other header of the machine.
function(zrt_foreign_headers target folder header)
    find_path(ZRTMON_${folder}_HEADERS ${folder}/${header} NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(narrow ${PROJECT_BINARY_DIR}/foreign_headers)
    file(MAKE_DIRECTORY ${narrow})
    file(CREATE_LINK ${ZRTMON_${folder}_HEADERS}/${folder} ${narrow}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED)
    target_include_directories(${target} INTERFACE ${narrow})
endfunction()

zrt_foreign_headers(CLI11::CLI11 CLI CLI.hpp)
zrt_foreign_headers(nlohmann_json::nlohmann_json nlohmann json.hpp)

if(ZRTMON_TESTS)
    find_path(ZRTMON_GTEST_SOURCES googletest/src/gtest-all.cc
        PATHS /usr/src PATH_SUFFIXES googletest NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(INSTALL_GTEST OFF)
    add_subdirectory(${ZRTMON_GTEST_SOURCES}/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
