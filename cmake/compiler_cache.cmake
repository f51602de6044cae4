# Compilations go through ccache where it is installed, set so that a copy of the tree in another folder finds the same
# objects. A launcher that the caller sets (CMAKE_CXX_COMPILER_LAUNCHER) is kept.
find_program(ZRTMON_CCACHE ccache)
mark_as_advanced(ZRTMON_CCACHE)
if(ZRTMON_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
        CCACHE_NOHASHDIR=1
        CCACHE_SLOPPINESS=pch_defines,time_macros
        ${ZRTMON_CCACHE})
    if(ZRTMON_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-fpch-preprocess) # without it ccache does not store what uses a precompiled header
    endif()
endif()
