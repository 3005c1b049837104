/** The calls that set the calendar's time and those that read it, answered by the board's clock. */
#pragma once

#include "terminal/model/board_clock.h"
#include "terminal/notifier/receiver.h"

#include <cstdint>
#include <optional>
#include <string>
#include <time.h>

namespace kt::terminal {

/** As the kernel keeps it for who asks: without a meaning of its own. */
struct time_zone {
    std::int32_t minutes_west = 0;
    std::int32_t dst = 0;
};

/** What a program wants to set. */
struct clock_wish {
    int error = 0;                   /**< What it fails with, as on the kernel; 0: it goes through. */
    std::optional<timespec> time{};  /**< Nothing: a time zone only, or what could not be read. */
    std::optional<time_zone> zone{}; /**< Nothing: it stays as it is. */

    /** "1700000000.000000000"; empty without a time. */
    std::string text() const;
};

/** Threads: one. */
class clock_calls {
public:
    static bool sets(const waiting_call& call);
    static bool reads(const waiting_call& call);

    /** Looks at what a call wants to set, by the kernel's rules; sets nothing. */
    static clock_wish wish_of(const waiting_call& call);

    /** From now on read() tells it. */
    void set_zone(const time_zone& zone) { zone_ = zone; }

    /** Answers a reading call; the caller's answer is in @p result, or the errno it gets is returned. */
    int read(const waiting_call& call, const board_clock& clock, std::int64_t& result) const;

private:
    time_zone zone_;
};

} // namespace kt::terminal
