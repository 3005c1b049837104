/** A queue of names, and the thread that waits for the kernel. */
#include "terminal/fuse/notices.h"

#include <chrono>
#include <utility>

namespace kt::terminal {

void notices::stop()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_one();
        progress_.notify_all();
    }
    if (worker_.joinable())
        worker_.join();
}

void notices::name_is_gone(std::uint64_t folder, std::string name)
{
    constexpr std::chrono::milliseconds moment{100};
    std::unique_lock lock(mutex_);
    if (stopping_)
        return;
    if (!worker_.joinable())
        worker_ = std::thread([this] { work(); });
    waiting_.push_back({folder, std::move(name)});
    const std::uint64_t number = ++given_;
    changed_.notify_one();
    (void)progress_.wait_for(lock, moment, [this, number] { return stopping_ || told_ >= number; });
}

void notices::work()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        if (stopping_)
            return;
        const notice next = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        (void)fuse_lowlevel_notify_inval_entry(session_, next.folder, next.name.data(), next.name.size());
        lock.lock();
        ++told_;
        progress_.notify_all();
    }
}

} // namespace kt::terminal
