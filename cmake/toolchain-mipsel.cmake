# Builds for the product: 32-bit little-endian MIPS. scripts/make-sysroot makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)

set(KT_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/mipsel CACHE PATH "mipsel libraries, made by scripts/make-sysroot")
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)

# The scheduler's first pass keeps too many values alive for this processor's registers and spills them.
set(CMAKE_C_FLAGS_INIT -fno-schedule-insns)
set(CMAKE_CXX_FLAGS_INIT -fno-schedule-insns)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel -L ${KT_SYSROOT})
