# Fuzz targets: libFuzzer programs over the sources of a parser, built by the preset "fuzz" only.

option(KT_FUZZ "Build the fuzz targets and no tests (needs clang)" OFF)
if(KT_FUZZ)
    add_custom_target(fuzz_targets)
endif()

# kt_add_fuzz_target(NAME SOURCES ...)
# SOURCES hold LLVMFuzzerTestOneInput and the sources of the parser itself; a folder corpus/NAME beside the caller's
# CMakeLists.txt, if there is one, holds its first inputs.
function(kt_add_fuzz_target NAME)
    if(NOT KT_FUZZ)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES")
    set(flags -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all)
    add_executable(${NAME} ${ARG_SOURCES})
    set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz)
    target_compile_options(${NAME} PRIVATE ${flags})
    target_link_options(${NAME} PRIVATE ${flags})
    target_link_libraries(${NAME} PRIVATE kt_warnings Threads::Threads)
    add_dependencies(fuzz_targets ${NAME})

    set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${NAME})
    if(EXISTS ${corpus})
        file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz)
        file(CREATE_LINK ${corpus} ${PROJECT_BINARY_DIR}/fuzz/${NAME}.corpus SYMBOLIC)
    endif()
endfunction()
