# Every package that the build looks up, in one place; docs/decisions.md gives the reason for each.
if(NOT WIN32)
    find_package(Threads REQUIRED)
    find_package(LibXml2 REQUIRED)
    find_package(GTest REQUIRED)
    find_package(benchmark REQUIRED)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
endif()
