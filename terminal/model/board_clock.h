/** The board's own clock: the desk's, and how far it was set away from it. */
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <time.h>

namespace kt::terminal {

/** The clock is set, time goes by that did not go by on the desk, or the one and then the other. */
struct clock_change {
    std::optional<timespec> set{};
    std::chrono::nanoseconds advance{0}; /**< Not negative. */
};

/** Threads: any. */
class board_clock {
public:
    using nanoseconds = std::chrono::nanoseconds;
    /** It calls @p followed, once, on any thread, when programs read the new time or never will. */
    using listener = std::function<void(std::function<void()> followed)>;

    /** Where the clock ends, as the kernel's: what its nanoseconds hold, less the thirty years that it may run on. */
    static constexpr std::int64_t last_second = INT64_MAX / 1'000'000'000 - std::int64_t{30} * 365 * 24 * 3600;
    /** How long set() and advance() wait for the programs. */
    static constexpr std::chrono::seconds longest_wait{5};

    /** Before the end, and not before 1970. */
    static bool holds(std::int64_t second) { return second >= 0 && second < last_second; }

    /** How far the board's clock is ahead of the desk's. */
    nanoseconds offset() const;
    timespec now() const;
    /** How much time went by that did not go by on the desk. */
    nanoseconds skipped() const;

    /** False: it would stop at the clock's end. */
    bool reaches(const clock_change& wanted) const;
    /**
     * What goes beyond the clock's end stops there. Does not wait; @p followed is called, perhaps at once, when
     * programs read the new time or never will.
     */
    void change(const clock_change& wanted, std::function<void()> followed);
    /** The same, and waits until programs read the new time. */
    void set(const timespec& to) { change_and_wait({.set = to}); }
    void advance(nanoseconds by) { change_and_wait({.advance = by}); }

    /** Called, without locks, after each change. */
    void set_listener(listener changed);

private:
    struct state {
        nanoseconds offset{0};
        nanoseconds skipped{0};
    };
    static state changed_by(state now, const clock_change& wanted, bool& reached);
    void change_and_wait(const clock_change& wanted);

    mutable std::mutex mutex_;
    state state_;
    listener changed_;
};

} // namespace kt::terminal
