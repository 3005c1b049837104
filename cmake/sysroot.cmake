# Makes packages be looked for in KT_SYSROOT and in what the caller puts into CMAKE_FIND_ROOT_PATH; the compiler brings its own C and C++ libraries.
cmake_path(NORMAL_PATH KT_SYSROOT)
if(NOT EXISTS ${KT_SYSROOT}/.stamp)
    message(FATAL_ERROR "There is no sysroot in ${KT_SYSROOT}: make one with\n"
                        "  scripts/make-sysroot ARCHITECTURE ${KT_SYSROOT}\nor name another folder with -D KT_SYSROOT=")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KT_SYSROOT)

list(APPEND CMAKE_FIND_ROOT_PATH ${KT_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
