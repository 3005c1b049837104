/** The buffer of one open, by the rules of the kernel's. */
#include "terminal/input/event_queue.h"

#include <algorithm>
#include <linux/input-event-codes.h>

namespace kt::terminal {

void event_queue::put(const timespec& when, const reported_event& happened)
{
    event_record made;
    made.seconds = static_cast<std::uint32_t>(when.tv_sec);
    made.microseconds = static_cast<std::uint32_t>(when.tv_nsec / 1000);
    if (waiting_.size() + 1 == places) {
        waiting_.clear();
        made.type = EV_SYN;
        made.code = SYN_DROPPED;
        waiting_.push_back(made);
    }
    made.type = happened.type;
    made.code = happened.code;
    made.value = happened.value;
    waiting_.push_back(made);
}

std::string event_queue::take(std::size_t size)
{
    std::string bytes;
    const auto end =
        waiting_.begin() + static_cast<std::ptrdiff_t>(std::min(size / sizeof(event_record), waiting_.size()));
    for (auto each = waiting_.begin(); each != end; ++each)
        bytes.append(reinterpret_cast<const char*>(&*each), sizeof *each);
    waiting_.erase(waiting_.begin(), end);
    return bytes;
}

} // namespace kt::terminal
