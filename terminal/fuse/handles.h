/** What the kernel holds by number between an open and its release. */
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace kt::terminal {

class handle {
public:
    virtual ~handle() = default;
};

/** Keeps them: at the end of a session the kernel does not release what was still open. Threads: any. */
class handles {
public:
    /** Keeps @p opened; its address is the number the kernel gets. */
    std::uint64_t keep(std::shared_ptr<handle> opened)
    {
        const auto number = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(opened.get()));
        const std::lock_guard lock(mutex_);
        kept_.emplace(number, std::move(opened));
        return number;
    }

    void release(std::uint64_t number)
    {
        std::shared_ptr<handle> last; // dies after the lock is free
        const std::lock_guard lock(mutex_);
        const auto found = kept_.find(number);
        if (found == kept_.end())
            return;
        last = std::move(found->second);
        kept_.erase(found);
    }

    /** Ends them all: serving is over, and nobody will release them. */
    void clear()
    {
        std::unordered_map<std::uint64_t, std::shared_ptr<handle>> last; // they die after the lock is free
        const std::lock_guard lock(mutex_);
        last.swap(kept_);
    }

    /** The handle of a number that keep() gave. It lives as long as it is used: the answer to a call may let the
       program close, and another thread release it, before the call is through here. */
    template <typename Handle>
    std::shared_ptr<Handle> find(std::uint64_t number)
    {
        const std::lock_guard lock(mutex_);
        const auto found = kept_.find(number);
        return found == kept_.end() ? nullptr : std::static_pointer_cast<Handle>(found->second);
    }

private:
    std::mutex mutex_;
    std::unordered_map<std::uint64_t, std::shared_ptr<handle>> kept_;
};

} // namespace kt::terminal
