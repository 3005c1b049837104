# Builds for 32-bit desks, to try the library with 32-bit types and callers. scripts/make-sysroot makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)

set(KT_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/i386 CACHE PATH "i386 libraries, made by scripts/make-sysroot")
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)

# The desk need not have a 32-bit loader: programs that run outside a terminal are handed to the sysroot's own.
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${KT_SYSROOT}/usr/lib/i386-linux-gnu/ld-linux.so.2 --library-path ${KT_SYSROOT}/usr/lib/i386-linux-gnu)
