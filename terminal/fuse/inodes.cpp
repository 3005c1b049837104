/** Counting what the kernel was told. */
#include "terminal/fuse/inodes.h"

namespace kt::terminal {

namespace {

constexpr std::uint64_t root_number = 1; // FUSE_ROOT_ID

} // namespace

node_ptr inodes::find(std::uint64_t ino) const
{
    if (ino == root_number)
        return root_;
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(ino);
    return found == entries_.end() ? nullptr : found->second.known;
}

void inodes::remember(const node_ptr& told)
{
    const std::lock_guard lock(mutex_);
    entry& known = entries_[told->ino()];
    known.known = told;
    ++known.told;
}

void inodes::forget(std::uint64_t ino, std::uint64_t times)
{
    node_ptr last; // dies after the lock is free: the end of a node may end others
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(ino);
    if (found == entries_.end())
        return;
    if (found->second.told > times) {
        found->second.told -= times;
        return;
    }
    last = std::move(found->second.known);
    entries_.erase(found);
}

std::uint64_t inodes::number(const node& known) const
{
    return &known == root_.get() ? root_number : known.ino();
}

} // namespace kt::terminal
