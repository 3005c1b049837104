/** One worker ends the waits: when they are due, taken back, or interrupted. */
#include "terminal/fuse/gate.h"

#include "terminal/fuse/operations.h"

#include <cerrno>
#include <utility>

namespace kt::terminal {

namespace {

/** Called by libfuse with the request locked: it must not be answered here, only from the worker. */
void interrupted(fuse_req_t asked, void* number)
{
    auto* server = static_cast<operations*>(fuse_req_userdata(asked));
    server->waits().interrupt(reinterpret_cast<std::uintptr_t>(number));
}

} // namespace

gate::gate(faults& rules) : rules_(rules)
{
    rules_.set_released([woken = bell_] {
        const std::lock_guard lock(woken->mutex);
        woken->changed.notify_one();
    });
}

gate::~gate()
{
    rules_.set_released(nullptr);
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_one();
    }
    if (worker_.joinable())
        worker_.join();
    for (auto& [number, each] : waiting_)
        each.go(EIO);
}

void gate::hold(fuse_req_t asked, const verdict& ruled, step go)
{
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mutex_);
        start_worker();
        number = ++last_number_;
        waiting_.emplace(number, waiting{clock::now() + ruled.delay, ruled, false, false, std::move(go)});
    }
    // Before the worker is told of it, since the worker may answer and thereby free the request.
    fuse_req_interrupt_func(asked, interrupted, reinterpret_cast<void*>(static_cast<std::uintptr_t>(number)));
    const std::lock_guard lock(mutex_);
    const auto found = waiting_.find(number);
    if (found != waiting_.end())
        found->second.armed = true;
    changed_.notify_one();
}

std::uint64_t gate::watch(fuse_req_t asked, std::function<void()> interrupted_access)
{
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mutex_);
        start_worker();
        number = ++last_number_;
        watched_.emplace(number, watched{false, std::move(interrupted_access)});
    }
    fuse_req_interrupt_func(asked, interrupted, reinterpret_cast<void*>(static_cast<std::uintptr_t>(number)));
    return number;
}

void gate::forget(std::uint64_t number)
{
    watched gone; // its function dies after the lock is free
    const std::lock_guard lock(mutex_);
    const auto found = watched_.find(number);
    if (found == watched_.end())
        return;
    interrupted_ -= found->second.interrupted ? 1 : 0;
    gone = std::move(found->second); // cppcheck-suppress unreadVariable ; it dies after the lock is free
    watched_.erase(found);
}

void gate::interrupt(std::uint64_t number)
{
    const std::lock_guard lock(mutex_);
    if (const auto found = waiting_.find(number); found != waiting_.end()) {
        found->second.interrupted = true;
    } else if (const auto other = watched_.find(number); other != watched_.end() && !other->second.interrupted) {
        other->second.interrupted = true;
        ++interrupted_;
    } else {
        return;
    }
    changed_.notify_one();
}

void gate::start_worker()
{
    if (!worker_.joinable())
        worker_ = std::thread([this] { work(); });
}

std::vector<std::function<void()>> gate::take_interrupted()
{
    std::vector<std::function<void()>> all;
    if (interrupted_ == 0)
        return all;
    for (auto at = watched_.begin(); at != watched_.end();) {
        if (at->second.interrupted) {
            all.push_back(std::move(at->second.tell));
            at = watched_.erase(at);
        } else {
            ++at;
        }
    }
    interrupted_ = 0;
    return all;
}

void gate::work()
{
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto now = clock::now();
        auto next = clock::time_point::max();
        std::vector<std::pair<step, int>> ready;
        for (auto at = waiting_.begin(); at != waiting_.end();) {
            waiting& each = at->second;
            const bool held = each.ruled.hang && rules_.stands(each.ruled.rule);
            if (!each.armed || (!each.interrupted && (now < each.due || held))) {
                if (each.armed && now < each.due)
                    next = std::min(next, each.due);
                ++at;
                continue;
            }
            ready.emplace_back(std::move(each.go), each.interrupted ? EINTR : each.ruled.error);
            at = waiting_.erase(at);
        }
        auto signalled = take_interrupted();
        if (!ready.empty() || !signalled.empty()) {
            lock.unlock();
            for (auto& [go, error] : ready)
                go(error);
            for (const auto& tell : signalled)
                tell();
            ready.clear();
            signalled.clear();
            lock.lock();
            continue; // something may have become ready meanwhile
        }
        if (next == clock::time_point::max())
            changed_.wait(lock);
        else
            changed_.wait_until(lock, next);
    }
}

} // namespace kt::terminal
