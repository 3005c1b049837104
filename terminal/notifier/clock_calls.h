/** The calls that set the calendar's time and those that read it, answered by the board's clock. */
#pragma once

#include "terminal/model/board_clock.h"
#include "terminal/notifier/receiver.h"

#include <cstdint>
#include <optional>
#include <string>
#include <time.h>

namespace kt::terminal {

/** A time that a program wants to set. */
struct clock_wish {
    int error = 0;                /**< What it fails with, as on the kernel; 0: it goes through. */
    std::optional<timespec> time; /**< Nothing: a time zone only, or what could not be read. */

    /** "1700000000.000000000"; empty without a time. */
    std::string text() const;
};

/** Threads: one. */
class clock_calls {
public:
    static bool sets(const waiting_call& call);
    static bool reads(const waiting_call& call);

    /** Looks at what a call wants to set, by the kernel's rules; sets nothing. */
    clock_wish wish_of(const waiting_call& call);

    /** Answers a reading call; the caller's answer is in @p result, or the errno it gets is returned. */
    int read(const waiting_call& call, const board_clock& clock, std::int64_t& result) const;

private:
    struct zone {
        std::int32_t minutes_west = 0;
        std::int32_t dst = 0;
    };
    zone zone_; // as the kernel keeps it: without a meaning of its own
};

} // namespace kt::terminal
