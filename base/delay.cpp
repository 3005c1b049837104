// Sleeps that signals do not shorten.
#include "kt_driver/base.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>

namespace {

using nanoseconds = decltype(timespec::tv_nsec);

void sleep_whole(timespec request)
{
    timespec remaining;
    while (nanosleep(&request, &remaining) < 0 && errno == EINTR)
        request = remaining;
}

} // namespace

void mdelay(unsigned int ms)
{
    sleep_whole({static_cast<std::time_t>(ms / 1000), static_cast<nanoseconds>(ms % 1000 * 1'000'000)});
}

void udelay(unsigned int us)
{
    // All in the nanoseconds, so that a second or more is rejected; where the field has 32 bits, too much must not wrap
    // round to a short sleep.
    constexpr std::uint64_t most = std::numeric_limits<nanoseconds>::max();
    sleep_whole({0, static_cast<nanoseconds>(std::min(std::uint64_t{us} * 1000, most))});
}
