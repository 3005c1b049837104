// What an attribute's access takes on a terminal: opened, read and closed by the program, answered by the board.
#include "bench/figures.h"
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "kt_driver/base.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

using kt::bench::require;

namespace {

constexpr int accesses = 10'000;
constexpr double most_us = 60;

template <typename Access>
std::vector<double> each_us(benchmark::State& state, Access access)
{
    kt::bench::require_terminal();
    std::vector<double> samples;
    for (auto iteration : state) {
        (void)iteration;
        const auto start = std::chrono::steady_clock::now();
        access();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        samples.push_back(taken.count() * 1e6);
        state.SetIterationTime(taken.count());
    }
    return samples;
}

void open_read_close(benchmark::State& state)
{
    const std::vector<double> samples = each_us(state, [] {
        char page[4096];
        const int fd = open("/sys/class/kt_misc/ioctl/usb_route", O_RDWR);
        require(fd >= 0);
        require(read(fd, page, sizeof page) > 0);
        require(close(fd) == 0);
    });
    kt::bench::figure("terminal: open, read, close, median", kt::bench::quantile(samples, 0.5), "us", most_us);
    kt::bench::figure("terminal: open, read, close, 99 %", kt::bench::quantile(samples, 0.99), "us");
}

void get_int(benchmark::State& state)
{
    const std::vector<double> samples =
        each_us(state, [] { require(kt_sys_attr_get_int("/sys/class/kt_misc/ioctl/", "usb_route") >= 0); });
    kt::bench::figure("terminal: kt_sys_attr_get_int, median", kt::bench::quantile(samples, 0.5), "us");
}

void set_int(benchmark::State& state)
{
    const std::vector<double> samples =
        each_us(state, [] { require(kt_sys_attr_set_int("/sys/class/kt_misc/ioctl/", "cam_led", 1) == 0); });
    kt::bench::figure("terminal: kt_sys_attr_set_int, median", kt::bench::quantile(samples, 0.5), "us");
}

BENCHMARK(open_read_close)->UseManualTime()->Iterations(accesses)->Unit(benchmark::kMicrosecond);
BENCHMARK(get_int)->UseManualTime()->Iterations(accesses)->Unit(benchmark::kMicrosecond);
BENCHMARK(set_int)->UseManualTime()->Iterations(accesses)->Unit(benchmark::kMicrosecond);

} // namespace
