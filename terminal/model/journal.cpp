/** Keeping the newest events in order, and waking who waits for one. */
#include "terminal/model/journal.h"

#include <algorithm>
#include <utility>

namespace kt::terminal {

journal::journal() : start_(std::chrono::steady_clock::now()) {}

void journal::set_source(source waiting)
{
    source_ = std::move(waiting);
}

void journal::set_listener(std::function<void(const event&)> listener)
{
    listener_ = std::move(listener);
}

void journal::set_notice(std::function<void()> notice)
{
    const std::lock_guard held(mutex_);
    notice_ = std::move(notice);
}

std::uint64_t journal::append(event happened)
{
    const std::lock_guard held(mutex_);
    drain(); // what waits there happened before
    add(std::move(happened));
    return newest_;
}

void journal::poke()
{
    const std::lock_guard held(mutex_);
    drain();
}

std::vector<event> journal::from(std::uint64_t first, std::size_t most)
{
    const std::lock_guard held(mutex_);
    drain();
    const std::size_t begin = place_of(first);
    const std::size_t count = std::min(most, events_.size() - begin);
    const auto oldest = events_.begin() + static_cast<std::ptrdiff_t>(begin);
    return {oldest, oldest + static_cast<std::ptrdiff_t>(count)};
}

std::uint64_t journal::newest()
{
    const std::lock_guard held(mutex_);
    drain();
    return newest_;
}

std::optional<event> journal::wait(std::uint64_t after, const match& fits, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock held(mutex_);
    drain();
    for (;;) {
        if (auto found = find_kept(after, fits))
            return found;
        if (closed_)
            return std::nullopt;
        if (changed_.wait_until(held, deadline) == std::cv_status::timeout) {
            drain();
            return find_kept(after, fits);
        }
    }
}

std::optional<event> journal::find(std::uint64_t& after, const match& fits)
{
    const std::lock_guard held(mutex_);
    drain();
    return find_kept(after, fits);
}

void journal::close()
{
    const std::lock_guard held(mutex_);
    closed_ = true;
    changed_.notify_all();
}

void journal::drain()
{
    if (!source_)
        return;
    while (auto waiting = source_())
        add(std::move(*waiting));
}

void journal::add(event&& happened)
{
    happened.seq = ++newest_;
    happened.time_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    bytes_ += happened.data.size();
    events_.push_back(std::move(happened));
    while (events_.size() > capacity || (bytes_ > byte_capacity && events_.size() > 1)) {
        bytes_ -= events_.front().data.size();
        events_.pop_front();
    }
    if (listener_)
        listener_(events_.back());
    if (notice_)
        notice_();
    changed_.notify_all();
}

std::optional<event> journal::find_kept(std::uint64_t& after, const match& fits) const
{
    if (after >= newest_)
        return std::nullopt;
    for (std::size_t i = place_of(after + 1); i < events_.size(); ++i) {
        after = events_[i].seq;
        if (fits(events_[i]))
            return events_[i];
    }
    return std::nullopt;
}

/** The index of event @p number; of the oldest one if that is dropped, the size if it is still to come. */
std::size_t journal::place_of(std::uint64_t number) const
{
    if (events_.empty() || number > newest_)
        return events_.size();
    const std::uint64_t oldest = events_.front().seq;
    return number <= oldest ? 0 : static_cast<std::size_t>(number - oldest);
}

} // namespace kt::terminal
