# How a test program is built and run: on a virtual terminal of its own, or on the desk.
include(GoogleTest)
find_package(GTest REQUIRED)

set(default_terminal ${PROJECT_BINARY_DIR}/bin/kt-terminal)
if(CMAKE_CROSSCOMPILING)
    cmake_path(SET default_terminal NORMALIZE ${PROJECT_BINARY_DIR}/../release/bin/kt-terminal)
endif()
set(KT_TERMINAL_PROGRAM ${default_terminal} CACHE FILEPATH "The kt-terminal that runs the tests of this build")

# What a sanitizer's program is started through: its options, and for ThreadSanitizer a fixed address layout, since the
# random one of some kernels collides with its shadow memory.
set(sanitizer_launcher "")
if(KT_SANITIZE STREQUAL "address")
    set(sanitizer_launcher env
        ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1
        UBSAN_OPTIONS=print_stacktrace=1)
elseif(KT_SANITIZE STREQUAL "thread")
    set(sanitizer_launcher setarch -R)
endif()

# A MIPS program runs neither on this machine nor on its terminal: the target terminal_tests builds those for the product.
set(can_run_on_terminal TRUE)
set(sysroot_option "")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "mipsel")
    set(can_run_on_terminal FALSE)
    add_custom_target(terminal_tests)
elseif(CMAKE_CROSSCOMPILING)
    set(sysroot_option --sysroot ${KT_SYSROOT})
endif()

# A test spends its time waiting and in what it tests: its own code is built in half the time so.
set(test_compile_options -O0)

# What a test does wrong with memory shows what the library did; its arithmetic is nobody's, and a quarter of its build.
# Named behind kt_sanitized, whose flags it takes back.
add_library(kt_test_sanitized INTERFACE)
target_link_libraries(kt_test_sanitized INTERFACE kt_sanitized)
if(KT_SANITIZE STREQUAL "address")
    add_library(kt_test_arithmetic INTERFACE)
    target_compile_options(kt_test_arithmetic INTERFACE -fno-sanitize=undefined)
    target_link_libraries(kt_test_sanitized INTERFACE kt_test_arithmetic)
endif()

# Half of what a small test takes to compile is GoogleTest's own headers: they are compiled once for all test programs.
# An executable, as those are, since position-independent code is another kind there than in a library. ccache would
# keep nothing that was compiled so, and without it the tests' own lines of #include are tried.
set(precompile_test_headers FALSE)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT KT_FUZZ AND NOT "${CMAKE_CXX_COMPILER_LAUNCHER}" MATCHES "ccache")
    set(precompile_test_headers TRUE)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/tests/test_headers.cpp CONTENT "")
    add_executable(kt_test_headers EXCLUDE_FROM_ALL ${PROJECT_BINARY_DIR}/tests/test_headers.cpp)
    target_link_libraries(kt_test_headers PRIVATE kt_warnings kt_test_sanitized GTest::gmock GTest::gtest_main)
    target_compile_options(kt_test_headers PRIVATE ${test_compile_options})
    target_precompile_headers(kt_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    set_target_properties(kt_test_headers PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
endif()

# Builds the GoogleTest program NAME; used by the two functions below.
function(kt_build_test_program NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "STARTS_FIRST" "" "SOURCES;LIBS")
    add_executable(${NAME} ${ARG_SOURCES})
    set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    target_link_libraries(${NAME} PRIVATE
        kt_warnings kt_test_sanitized $<TARGET_NAME_IF_EXISTS:kt_test_support> ${ARG_LIBS} GTest::gmock GTest::gtest_main)
    target_compile_options(${NAME} PRIVATE ${test_compile_options})
    if(precompile_test_headers)
        target_precompile_headers(${NAME} REUSE_FROM kt_test_headers)
        foreach(source IN LISTS ARG_SOURCES) # not for C, nor for the library's own sources
            if(source MATCHES "\\.c$" OR IS_ABSOLUTE ${source})
                set_source_files_properties(${source} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
            endif()
        endforeach()
    endif()
endfunction()

# Registers every test case of NAME as one test of its own, labelled with its area (the folder) and with WHERE it runs.
function(kt_register_test_cases NAME WHERE)
    gtest_discover_tests(${NAME}
        TEST_PREFIX ${NAME}/
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120)
    # ctest reads this instead of the list of test cases: it adds what gtest_discover_tests cannot pass on.
    get_property(include_files DIRECTORY PROPERTY TEST_INCLUDE_FILES)
    list(POP_BACK include_files test_case_list)
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME area)
    set(labels "${area};${WHERE}")
    set(test_case_file ${CMAKE_CURRENT_BINARY_DIR}/${NAME}_cases.cmake)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/test_cases_${WHERE}.cmake.in ${test_case_file} @ONLY)
    set_property(DIRECTORY PROPERTY TEST_INCLUDE_FILES ${include_files} ${test_case_file})
endfunction()

# kt_add_terminal_test(NAME [STARTS_FIRST] SOURCES ... [LIBS ...])
# A GoogleTest program against libkt_driver; every test case runs as the program of a terminal of its own. STARTS_FIRST:
# some of them wait for half a minute, beside which the others can run.
function(kt_add_terminal_test NAME)
    if(KT_FUZZ)
        return()
    endif()
    kt_build_test_program(${NAME} ${ARGN})
    target_link_libraries(${NAME} PRIVATE kt_driver)
    if(NOT can_run_on_terminal)
        set_target_properties(${NAME} PROPERTIES EXCLUDE_FROM_ALL TRUE)
        add_dependencies(terminal_tests ${NAME})
        return()
    endif()
    set(launcher ${sanitizer_launcher} ${KT_TERMINAL_PROGRAM} ${sysroot_option} --bind ${PROJECT_BINARY_DIR} --)
    set_property(TARGET ${NAME} PROPERTY CROSSCOMPILING_EMULATOR ${launcher})
    set(cost 0)
    if(STARTS_FIRST IN_LIST ARGN)
        set(cost 60)
    endif()
    kt_register_test_cases(${NAME} on-terminal)
endfunction()

# kt_add_host_test(NAME SOURCES ... [LIBS ...])
# A GoogleTest program that runs on the desk itself; it names the library's parts that it needs in LIBS.
function(kt_add_host_test NAME)
    if(KT_FUZZ)
        return()
    endif()
    kt_build_test_program(${NAME} ${ARGN})
    get_target_property(emulator ${NAME} CROSSCOMPILING_EMULATOR)
    if(NOT emulator)
        set_property(TARGET ${NAME} PROPERTY CROSSCOMPILING_EMULATOR ${sanitizer_launcher})
    endif()
    kt_register_test_cases(${NAME} on-desk)
endfunction()
