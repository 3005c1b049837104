# Language, warnings and sanitizers for every target of the tree.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
endif()

# off_t of 64 bits in the 32-bit builds too; time_t stays as it is, struct timeval is part of the interface.
add_compile_definitions(_FILE_OFFSET_BITS=64)

# What every source of ours is compiled with; includes are rooted at the checkout.
add_library(kt_warnings INTERFACE)
target_compile_features(kt_warnings INTERFACE cxx_std_20)
target_compile_options(kt_warnings INTERFACE -Wall -Wextra)
target_include_directories(kt_warnings INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 is the product's compiler; what another one warns of (clang builds the fuzz targets) stops nobody.
    target_compile_options(kt_warnings INTERFACE -Wconversion -Werror)
endif()

set(KT_SANITIZE "" CACHE STRING "Sanitizers of this build: address (with undefined behaviour), thread, or empty")
set_property(CACHE KT_SANITIZE PROPERTY STRINGS "" address thread)

# For all but the terminal's set-up helper, which runs before there is a place for a sanitizer's own threads and files.
add_library(kt_sanitized INTERFACE)
if(KT_SANITIZE STREQUAL "address")
    set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(KT_SANITIZE STREQUAL "thread")
    set(sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
    target_sources(kt_sanitized INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PROJECT_SOURCE_DIR}/cmake/tsan_suppressions.cpp>)
elseif(NOT KT_SANITIZE STREQUAL "")
    message(FATAL_ERROR "KT_SANITIZE is \"${KT_SANITIZE}\": address, thread or nothing are known")
endif()
target_compile_options(kt_sanitized INTERFACE ${sanitizer_flags})
target_link_options(kt_sanitized INTERFACE ${sanitizer_flags})
