# How a bench is built: one Google Benchmark program, started by scripts/bench.

# kt_add_bench(NAME SOURCES ... [LIBS ...] [ON_TERMINAL])
# ON_TERMINAL makes scripts/bench start it as the program of a terminal. A bench tells its figures with their limits
# (bench/figures.h) and leaves the verdict to scripts/bench; a status other than 0 says that it could not measure.
function(kt_add_bench NAME)
    if(KT_FUZZ)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 ARG "ON_TERMINAL" "" "SOURCES;LIBS")
    find_package(benchmark REQUIRED)
    set(place on-desk)
    if(ARG_ON_TERMINAL)
        set(place on-terminal)
    endif()
    add_executable(${NAME} ${ARG_SOURCES})
    set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bench/${place})
    target_link_libraries(${NAME} PRIVATE
        kt_warnings kt_sanitized kt_driver ${ARG_LIBS} benchmark::benchmark_main)
endfunction()
