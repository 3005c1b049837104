/** Things to do at a time: one thread for all devices. */
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>

namespace kt::terminal {

/** Threads: any. */
class timers {
public:
    using clock = std::chrono::steady_clock;

    static timers& shared();

    /** Calls @p what on the timers' thread, without locks, at that time or soon after. Nothing is ever taken back. */
    void at(clock::time_point due, std::function<void()> what);

    /** How many things are still to be done. */
    std::size_t waiting() const;

private:
    timers();
    void work();

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<clock::time_point, std::function<void()>> waiting_;
};

} // namespace kt::terminal
