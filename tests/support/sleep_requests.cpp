/** Picks the sleeps out of the sleeper's system calls, in all forms that 64- and 32-bit C libraries use. */
#include "tests/support/sleep_requests.h"

#include "tests/support/traced_program.h"

#include <ctime>
#include <sys/syscall.h>

namespace kt::tests {

namespace {

/** The kernel's records: of the machine's word size, and of the calls with 64-bit time. */
struct word_time {
    long seconds;
    long nanoseconds;
};
struct wide_time {
    std::int64_t seconds;
    std::int64_t nanoseconds; // 32-bit programs: the kernel looks at the lower half only
};

bool is_sleep(const system_call& call)
{
#ifdef SYS_clock_nanosleep_time64
    if (call.number == SYS_clock_nanosleep_time64)
        return true;
#endif
    return call.number == SYS_nanosleep || call.number == SYS_clock_nanosleep;
}

template <typename Record>
sleep_request request_at(const traced_program& program, std::uint64_t address)
{
    Record record{};
    program.copy_from(address, &record, sizeof(record));
    sleep_request request;
    request.seconds = record.seconds;
    request.nanoseconds = static_cast<long>(record.nanoseconds);
    return request;
}

sleep_request as_request(const traced_program& program, const system_call& call)
{
    if (call.number == SYS_nanosleep)
        return request_at<word_time>(program, call.arguments[0]);
    sleep_request request = call.number == SYS_clock_nanosleep ? request_at<word_time>(program, call.arguments[2])
                                                               : request_at<wide_time>(program, call.arguments[2]);
    request.relative = (call.arguments[1] & TIMER_ABSTIME) == 0;
    return request;
}

} // namespace

sleeper_run trace_sleeper(const std::string& delay, unsigned int amount, const disturbance& meanwhile)
{
    using clock = std::chrono::steady_clock;
    sleeper_run result;
    clock::time_point start;

    traced_program sleeper({KT_SLEEPER, delay, std::to_string(amount)});
    sleeper.began = [&](const system_call& call) {
        if (!is_sleep(call))
            return then::go_on;
        if (result.requests.empty())
            start = clock::now();
        result.requests.push_back(as_request(sleeper, call));
        const int number = static_cast<int>(result.requests.size());
        if (number >= meanwhile.end_at)
            return then::end;
        return number <= meanwhile.signals ? then::interrupt : then::go_on;
    };
    sleeper.finished = [&](const system_call& call) {
        if (is_sleep(call))
            result.took = clock::now() - start;
    };
    result.status = sleeper.run();
    return result;
}

} // namespace kt::tests
