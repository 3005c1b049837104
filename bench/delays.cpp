// How much later than asked mdelay and udelay come back, beside a bare nanosleep.
#include "bench/figures.h"
#include "kt_driver/base.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr double most_late_us = 75;

template <typename Sleep>
double late_us(std::chrono::microseconds asked, Sleep sleep)
{
    const auto start = std::chrono::steady_clock::now();
    sleep();
    const auto slept = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double, std::micro>(slept - asked).count();
}

void bare(std::chrono::microseconds asked)
{
    const timespec request = {0, static_cast<long>(asked.count() * 1000)};
    (void)nanosleep(&request, nullptr);
}

template <typename Sleep>
void compare(benchmark::State& state, const char* name, std::chrono::microseconds asked, Sleep sleep)
{
    std::vector<double> bare_late, library_late;
    for (auto iteration : state) {
        (void)iteration;
        bare_late.push_back(late_us(asked, [&] { bare(asked); }));
        library_late.push_back(late_us(asked, sleep));
        state.SetIterationTime((library_late.back() + static_cast<double>(asked.count())) / 1e6);
    }
    const double early = std::max(0.0, -*std::min_element(library_late.begin(), library_late.end()));
    const double bare_median = kt::bench::quantile(std::move(bare_late), 0.5);
    const double median = kt::bench::quantile(std::move(library_late), 0.5);
    state.counters["bare_late_us"] = bare_median;
    state.counters["late_us"] = median;

    const std::string what = std::string(name) + "(" + std::to_string(state.range(0)) + ")";
    kt::bench::figure((what + ", earliest").c_str(), early, "us early", 0, kt::bench::undisturbed);
    // A machine that lets a bare nanosleep come late is no measure of ours.
    const double disturbance = std::max(1.0, bare_median / most_late_us);
    kt::bench::figure((what + ", median").c_str(), median, "us late", most_late_us,
                      kt::bench::on_a_busy_machine * disturbance);
    kt::bench::figure((what + ", a bare nanosleep's median").c_str(), bare_median, "us late");
}

void udelay(benchmark::State& state)
{
    const auto us = static_cast<unsigned>(state.range(0));
    compare(state, "udelay", std::chrono::microseconds(us), [us] { ::udelay(us); });
}

void mdelay(benchmark::State& state)
{
    const auto ms = static_cast<unsigned>(state.range(0));
    compare(state, "mdelay", std::chrono::milliseconds(ms), [ms] { ::mdelay(ms); });
}

BENCHMARK(udelay)->Arg(50)->Arg(500)->UseManualTime()->Iterations(1000);
BENCHMARK(mdelay)->Arg(1)->UseManualTime()->Iterations(500);
BENCHMARK(mdelay)->Arg(10)->UseManualTime()->Iterations(100);

} // namespace
