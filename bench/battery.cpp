// kt_power_battery_attr against the system calls that it is made of, on a terminal.
#include "bench/bare_calls.h"
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/power.h"

#include <benchmark/benchmark.h>

using kt::bench::require;

namespace {

constexpr int calls = 4; // of five attributes each
constexpr int blocks = 2'000;
constexpr double most = 1.10;

void battery_attr(benchmark::State& state)
{
    kt::bench::require_terminal();
    require(kt_supplypower_init() == 0);
    const auto found = kt::bench::side_by_side(state, calls, kt::bench::bare_battery, [] {
        kt_battery_attr battery;
        require(kt_power_battery_attr(&battery) == 0 && battery.voltage_full == 8400);
    });
    kt::bench::figure("kt_power_battery_attr, against its bare calls", found.ratio(), "x", most,
                      kt::bench::side_by_side_noise);
    kt::bench::figure("kt_power_battery_attr, median", found.library * 1e6, "us");
}

BENCHMARK(battery_attr)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);

} // namespace
