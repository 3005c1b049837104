/** What a delay asks of the kernel: the sleeps of the helper program "sleeper", as system calls. */
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace kt::tests {

/** One request to sleep. */
struct sleep_request {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool relative = true;

    bool operator==(const sleep_request&) const = default;

    /** The whole request in nanoseconds. */
    std::int64_t total() const { return seconds * 1'000'000'000 + nanoseconds; }
};

/** What happens to the sleeper meanwhile. */
struct disturbance {
    int signals = 0; /**< Each of the first so many sleeps is interrupted by a signal. */
    int end_at =
        std::numeric_limits<int>::max(); /**< The sleeper is killed as it makes this request; 1 is the first. */
};

struct sleeper_run {
    std::vector<sleep_request> requests;
    std::chrono::nanoseconds took{0}; /**< From the first request to the end of the last sleep. */
    int status = 0;                   /**< Wait status of the sleeper. */
};

/**
 * Runs the sleeper: @p delay is "mdelay", "udelay" or another function that waits, @p amount its argument; of
 * "kt_ap_tamper_read", which has none, the result without which the status is not 0.
 */
sleeper_run trace_sleeper(const std::string& delay, unsigned int amount, const disturbance& meanwhile = {});

} // namespace kt::tests
