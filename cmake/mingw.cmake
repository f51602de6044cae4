# Debian's cross compilers for Windows. The including file sets the processor (ZRTMON_MINGW_TARGET).
#
# What ships is built with the standard library that uses Windows threads: the one that uses POSIX threads would add a
# vectored exception handler to the spooler. Tests use the latter, because they need std::thread.
set(ZRTMON_MINGW_THREADS "win32" CACHE STRING "Thread model of the cross compiler's standard library: win32 or posix")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZRTMON_MINGW_THREADS)

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${ZRTMON_MINGW_TARGET}-gcc-${ZRTMON_MINGW_THREADS})
set(CMAKE_CXX_COMPILER ${ZRTMON_MINGW_TARGET}-g++-${ZRTMON_MINGW_THREADS})
set(CMAKE_RC_COMPILER ${ZRTMON_MINGW_TARGET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ZRTMON_MINGW_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
