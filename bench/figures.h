// The lines by which a bench tells scripts/bench what it found.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace kt::bench {

/** How many times its limit a figure must be to fail the run: machines are busy, but a wait never ends early. */
inline constexpr double on_a_busy_machine = 2;
inline constexpr double side_by_side_noise = 1.2; // of a ratio: what disturbs the machine disturbs both alike
inline constexpr double undisturbed = 1;

/** Reports a figure that has a limit. */
inline void figure(const char* what, double value, const char* unit, double most,
                   double times_to_fail = on_a_busy_machine)
{
    std::printf("figure\t%s\t%.3f\t%s\t%.3f\t%.3f\n", what, value, unit, most, times_to_fail);
    std::fflush(stdout);
}

/** Reports a figure that is only good to know beside another. */
inline void figure(const char* what, double value, const char* unit)
{
    std::printf("figure\t%s\t%.3f\t%s\t-\t1\n", what, value, unit);
    std::fflush(stdout);
}

/** The value that the given share of the samples does not exceed: 0.5 is the median. */
inline double quantile(std::vector<double> samples, double share)
{
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5);
    std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(rank), samples.end());
    return samples[rank];
}

} // namespace kt::bench
