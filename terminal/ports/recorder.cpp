/** A bounded text, searched from its start. */
#include "terminal/ports/recorder.h"

#include "terminal/model/board.h"

#include <utility>

namespace kt::terminal {

std::string recorder::take_all()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(bytes_, {});
}

std::optional<std::string> recorder::take_through(std::string_view wanted, std::function<void()> more)
{
    const std::lock_guard lock(mutex_);
    const std::size_t place = bytes_.find(wanted);
    if (place == std::string::npos) {
        more_ = std::move(more);
        return std::nullopt;
    }
    std::string before = bytes_.substr(0, place);
    bytes_.erase(0, place + wanted.size());
    return before;
}

std::string recorder::kept() const
{
    const std::lock_guard lock(mutex_);
    return bytes_;
}

std::uint64_t recorder::lost() const
{
    const std::lock_guard lock(mutex_);
    return lost_;
}

std::uint64_t recorder::breaks() const
{
    const std::lock_guard lock(mutex_);
    return breaks_;
}

void recorder::pass_on_to(std::shared_ptr<far_end> listener)
{
    const std::lock_guard lock(mutex_);
    listener_.swap(listener); // the old one goes after the lock
}

void recorder::received(std::string_view bytes)
{
    std::function<void()> more;
    {
        const std::lock_guard lock(mutex_);
        bytes_ += bytes;
        if (bytes_.size() > capacity + capacity / 2) { // not at each byte: the rest is moved
            lost_ += bytes_.size() - capacity;
            bytes_.erase(0, bytes_.size() - capacity);
        }
        more = std::exchange(more_, {});
    }
    if (more)
        more();
    if (const auto other = listener())
        other->received(bytes);
}

void recorder::received_break()
{
    {
        const std::lock_guard lock(mutex_);
        ++breaks_;
    }
    if (const auto other = listener())
        other->received_break();
}

void recorder::lines_changed(unsigned outputs)
{
    if (const auto other = listener())
        other->lines_changed(outputs);
}

void recorder::opened()
{
    if (const auto other = listener())
        other->opened();
}

void recorder::closed()
{
    if (const auto other = listener())
        other->closed();
}

std::shared_ptr<far_end> recorder::listener() const
{
    const std::lock_guard lock(mutex_);
    return listener_;
}

recorded_port::recorded_port()
{
    wire()->connect(other_end_);
}

std::shared_ptr<recorded_port> recorded_port_at(const board& searched, std::string_view path)
{
    return std::dynamic_pointer_cast<recorded_port>(searched.find(path));
}

} // namespace kt::terminal
