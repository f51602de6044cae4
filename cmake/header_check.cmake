# zrt_check_headers(NAME headers...): each header must compile alone. One source file per header, compiled
# with the rest, so that a missing include is an error of the ordinary build.
function(zrt_check_headers target)
    set(sources)
    foreach(header IN LISTS ARGN)
        string(MAKE_C_IDENTIFIER "${header}" name)
        set(source "${PROJECT_BINARY_DIR}/header_check/${name}.cpp")
        file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
        list(APPEND sources "${source}")
    endforeach()
    add_library(${target}_headers OBJECT ${sources})
    target_link_libraries(${target}_headers PRIVATE ${target})
endfunction()
