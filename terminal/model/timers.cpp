/** The timers' thread. */
#include "terminal/model/timers.h"

#include <csignal>
#include <thread>
#include <utility>

namespace kt::terminal {

timers& timers::shared()
{
    // Never destroyed: a process that was forked from this one has no such thread to wait for at its exit.
    static auto* const all = new timers;
    return *all;
}

timers::timers()
{
    // Signals belong to the main thread.
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    std::thread([this] { work(); }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void timers::at(clock::time_point due, std::function<void()> what)
{
    const std::lock_guard lock(mutex_);
    const auto added = waiting_.emplace(due, std::move(what));
    if (added == waiting_.begin())
        changed_.notify_one();
}

std::size_t timers::waiting() const
{
    const std::lock_guard lock(mutex_);
    return waiting_.size();
}

void timers::work()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        if (waiting_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto next = waiting_.begin()->first;
        if (clock::now() < next) {
            changed_.wait_until(lock, next);
            continue;
        }
        auto due = waiting_.extract(waiting_.begin());
        lock.unlock();
        due.mapped()();
        due.mapped() = nullptr;
        lock.lock();
    }
}

} // namespace kt::terminal
