// How long a terminal takes from its own start to that of its program, and until all is over.
#include "bench/figures.h"

#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int starts = 40;
constexpr double most_ms = 50;

[[noreturn]] void fail(const char* step)
{
    std::perror(step);
    std::exit(1);
}

// The clock that print_clock reads.
double now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct run {
    double until_program;
    double whole;
};

run run_once(const std::string& terminal, const std::string& program)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0)
        fail("pipe2");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);

    std::string words[] = {terminal, "--", program};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    const double start = now();
    pid_t child;
    errno = posix_spawn(&child, terminal.c_str(), &actions, nullptr, arguments, environ);
    if (errno != 0)
        fail(terminal.c_str());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);

    char text[64] = "";
    const ssize_t length = read(ends[0], text, sizeof text - 1);
    int status = -1;
    if (waitpid(child, &status, 0) < 0)
        fail("waitpid");
    const double end = now();
    close(ends[0]);
    if (length <= 0 || status != 0) {
        std::fprintf(stderr, "the terminal ended with wait status %d\n", status);
        std::exit(1);
    }
    return {std::atof(text) - start, end - start};
}

// build/PRESET/bench/on-desk/terminal_start, and from there to the terminal and to the program for it.
void terminal_start(benchmark::State& state)
{
    const auto bench_folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    const std::string terminal = bench_folder.parent_path() / "bin/kt-terminal";
    const std::string program = bench_folder / "print_clock";

    std::vector<double> until_program_ms, whole_ms;
    for (auto iteration : state) {
        (void)iteration;
        const run once = run_once(terminal, program);
        state.SetIterationTime(once.until_program);
        until_program_ms.push_back(once.until_program * 1e3);
        whole_ms.push_back(once.whole * 1e3);
    }
    kt::bench::figure("terminal: start to its program, median", kt::bench::quantile(until_program_ms, 0.5), "ms",
                      most_ms);
    kt::bench::figure("terminal: start to its program, worst", kt::bench::quantile(until_program_ms, 1), "ms");
    kt::bench::figure("terminal: whole run, median", kt::bench::quantile(whole_ms, 0.5), "ms");
}

BENCHMARK(terminal_start)->UseManualTime()->Iterations(starts)->Unit(benchmark::kMillisecond);

} // namespace
