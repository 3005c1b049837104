// Measures two ways of doing a thing in turn, so that what disturbs the machine disturbs both alike.
#pragma once

#include "bench/figures.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <utility>
#include <vector>

namespace kt::bench {

/** The time of one call in seconds, over a number of them. */
template <typename Call>
double seconds_each(int calls, Call&& call)
{
    const auto start = std::chrono::steady_clock::now();
    for (int left = calls; left > 0; --left)
        call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / calls;
}

struct medians {
    double bare;
    double library;
    double ratio() const { return library / bare; }
};

/**
 * Each iteration of the bench times a block of bare calls and a block of the library's, in changing order. The bench
 * has manual time (that of the library) and a fixed number of iterations.
 */
template <typename Bare, typename Library>
medians side_by_side(benchmark::State& state, int calls, Bare bare, Library library)
{
    std::vector<double> bare_seconds, library_seconds;
    bool bare_first = false;
    for (auto iteration : state) {
        (void)iteration;
        bare_first = !bare_first;
        if (bare_first)
            bare_seconds.push_back(seconds_each(calls, bare));
        library_seconds.push_back(seconds_each(calls, library));
        if (!bare_first)
            bare_seconds.push_back(seconds_each(calls, bare));
        state.SetIterationTime(library_seconds.back());
    }
    const medians found = {quantile(std::move(bare_seconds), 0.5), quantile(std::move(library_seconds), 0.5)};
    state.counters["bare_us"] = found.bare * 1e6;
    state.counters["library_us"] = found.library * 1e6;
    state.counters["ratio"] = found.ratio();
    return found;
}

} // namespace kt::bench
