// kt_power_battery_attr against the system calls that it is made of, on a terminal.
#include "bench/on_terminal.h"
#include "bench/side_by_side.h"
#include "kt_driver/power.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int calls = 4; // of five attributes each
constexpr int blocks = 2'000;
constexpr double most = 1.10;

void require(bool done)
{
    if (!done) {
        std::perror("battery");
        std::abort();
    }
}

void bare_read(const char* path)
{
    static char page[4096];
    struct stat found;
    require(stat(path, &found) == 0);
    const int fd = open(path, O_RDONLY);
    require(fd >= 0);
    require(read(fd, page, sizeof page) > 0);
    require(close(fd) == 0);
}

void bare_query()
{
    bare_read("/sys/class/power_supply/kt_bat/status"); // where the power comes from
    bare_read("/sys/class/power_supply/kt_bat/capacity");
    bare_read("/sys/class/power_supply/kt_bat/voltage_now");
    bare_read("/sys/class/power_supply/kt_bat/capacity_level");
    bare_read("/sys/class/power_supply/kt_bat/status");
}

void battery_attr(benchmark::State& state)
{
    kt::bench::require_terminal();
    require(kt_supplypower_init() == 0);
    const auto found = kt::bench::side_by_side(state, calls, bare_query, [] {
        kt_battery_attr battery;
        require(kt_power_battery_attr(&battery) == 0 && battery.voltage_full == 8400);
    });
    kt::bench::figure("kt_power_battery_attr, against its bare calls", found.ratio(), "x", most);
    kt::bench::figure("kt_power_battery_attr, median", found.library * 1e6, "us");
}

BENCHMARK(battery_attr)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);

} // namespace
