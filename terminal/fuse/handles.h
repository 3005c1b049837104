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
    std::uint64_t keep(std::unique_ptr<handle> opened)
    {
        const auto number = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(opened.get()));
        const std::lock_guard lock(mutex_);
        kept_.emplace(number, std::move(opened));
        return number;
    }

    void release(std::uint64_t number)
    {
        std::unique_ptr<handle> last; // dies after the lock is free
        const std::lock_guard lock(mutex_);
        const auto found = kept_.find(number);
        if (found == kept_.end())
            return;
        last = std::move(found->second);
        kept_.erase(found);
    }

private:
    std::mutex mutex_;
    std::unordered_map<std::uint64_t, std::unique_ptr<handle>> kept_;
};

/** The handle of a number that keep() gave and release() has not taken back. */
template <typename Handle>
Handle& kept_as(std::uint64_t number)
{
    return *static_cast<Handle*>(reinterpret_cast<handle*>(static_cast<std::uintptr_t>(number)));
}

} // namespace kt::terminal
