/** The board's own clock: the desk's, and how far it was set away from it. */
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <time.h>

namespace kt::terminal {

/** Threads: any. */
class board_clock {
public:
    using nanoseconds = std::chrono::nanoseconds;

    /** How far the board's clock is ahead of the desk's. */
    nanoseconds offset() const;
    timespec now() const;
    void set(const timespec& to);
    /** Time goes by that did not go by on the desk. */
    void advance(nanoseconds by);
    /** How much did so. */
    nanoseconds skipped() const;

    /** Called, without locks, after each change. */
    void set_listener(std::function<void()> changed);

private:
    void change(const std::function<void()>& how);

    mutable std::mutex mutex_;
    nanoseconds offset_{0};
    nanoseconds skipped_{0};
    std::function<void()> changed_;
};

} // namespace kt::terminal
