/** Where all that a modem does happens, one thing at a time: its lock, and the queue of what is to come. */
#pragma once

#include "terminal/model/timers.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

namespace kt::terminal {

/** Threads: any. Jobs come in the order of their times, on the thread of the lines' timers, under the lock. */
class strand : public std::enable_shared_from_this<strand> {
public:
    /** A serial line tells its news from any thread and with any locks: it only posts. */
    void post(std::function<void()> job) { after(std::chrono::milliseconds(0), std::move(job)); }

    void after(std::chrono::milliseconds delay, std::function<void()> job)
    {
        timers::shared().at(timers::clock::now() + delay, [weak = weak_from_this(), job = std::move(job)] {
            const auto alive = weak.lock();
            if (alive == nullptr)
                return;
            const std::lock_guard lock(alive->mutex_);
            if (!alive->stopped_)
                job();
        });
    }

    /** For what happens at once, on the caller's thread. */
    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

    /** No job runs any more, nor ever will. Not to be called from one. */
    void stop()
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }

private:
    std::mutex mutex_;
    bool stopped_ = false;
};

} // namespace kt::terminal
