/** The events that one open of an input device has not read yet. */
#pragma once

#include "terminal/input/reported_event.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <time.h>

namespace kt::terminal {

/** An event as a program on the board reads it, on every machine: the kernel's form for 32 bits. */
struct event_record {
    std::uint32_t seconds = 0;
    std::uint32_t microseconds = 0;
    std::uint16_t type = 0;
    std::uint16_t code = 0;
    std::int32_t value = 0;
};
static_assert(sizeof(event_record) == 16);

/** Threads: one at a time. */
class event_queue {
public:
    /** The kernel's ring, in which one place is always free. */
    static constexpr std::size_t places = 64;

    /** What would fill the last place drops all that waits: SYN_DROPPED stands for it, and the newest stays. */
    void put(const timespec& when, const reported_event& happened);

    bool empty() const { return waiting_.empty(); }

    /** Takes whole records, as many as fit into @p size bytes. */
    std::string take(std::size_t size);

private:
    std::deque<event_record> waiting_;
};

} // namespace kt::terminal
