// The system calls that a sleep cycle makes besides those of its shell command, on a terminal whose sleep is skipped.
#include "bench/figures.h"
#include "bench/on_terminal.h"
#include "terminal/client/virtual_terminal.h"
#include "tests/support/traced_program.h"

#include <benchmark/benchmark.h>
#include <string>
#include <sys/syscall.h>
#include <vector>

namespace {

// Each is needed: two flushes; the count's open, read, close, and open, write, close; a look at both key devices before
// and after; four for each of two attributes; and the lines of output that come before the shell's own.
constexpr int needed = 2 + 3 + 3 + 2 + 2 + 4 + 4 + 1;

/** The calls of one_sleep_cycle between its marks. */
int calls_of(const std::vector<std::string>& arguments)
{
    std::vector<std::string> command = {KT_ONE_SLEEP_CYCLE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    kt::tests::traced_program traced(command);
    int marks = 0;
    int calls = 0;
    traced.began = [&](const kt::tests::system_call& call) {
        if (call.number == SYS_getppid)
            ++marks;
        else if (marks == 1)
            ++calls;
        return kt::tests::then::go_on;
    };
    if (traced.run() != 0 || marks != 2)
        calls = -1;
    return calls;
}

void sleep_cycle(benchmark::State& state)
{
    kt::bench::require_terminal();
    (void)kt::terminal::virtual_terminal().sleep(R"({"fast":true})");
    int cycle = -1;
    int shell = -1;
    for (auto iteration : state) {
        (void)iteration;
        cycle = calls_of({});
        shell = calls_of({"shell"});
    }
    if (cycle < 0 || shell < 0)
        return state.SkipWithError("the program did not run to its end");
    state.counters["calls"] = cycle;
    state.counters["of_the_shell"] = shell;
    kt::bench::figure("sleep cycle: system calls besides system(3)'s", cycle - shell, "calls", needed,
                      kt::bench::undisturbed);
}

BENCHMARK(sleep_cycle)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
