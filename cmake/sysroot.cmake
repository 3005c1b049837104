# Makes packages be looked for in KT_SYSROOT and in what the caller puts into CMAKE_FIND_ROOT_PATH; the compiler brings its own C and C++ libraries.
cmake_path(NORMAL_PATH KT_SYSROOT)
if(NOT EXISTS ${KT_SYSROOT}/.stamp)
    message(FATAL_ERROR "There is no sysroot in ${KT_SYSROOT}: make one with\n"
                        "  scripts/make-sysroot ARCHITECTURE ${KT_SYSROOT}\nor name another folder with -D KT_SYSROOT=")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KT_SYSROOT)

list(APPEND CMAKE_FIND_ROOT_PATH ${KT_SYSROOT})
# Where the linker finds what a shared library needs itself.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${KT_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
