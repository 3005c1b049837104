/** Counting wake-up events. */
#include "terminal/sleep/wakeup_sources.h"

#include <algorithm>
#include <utility>

namespace kt::terminal {

bool wakeup_sources::pending() const
{
    return held_.active ||
           std::any_of(locks_.begin(), locks_.end(), [](const auto& each) { return each.second.active; });
}

bool wakeup_sources::lock(const std::string& name, std::optional<time_point> until)
{
    if (locks_.size() > many && !locks_.contains(name)) // the kernel counts before it adds: there can be one more
        return false;
    source& taken = locks_[name];
    taken.active = true;
    if (!until || !taken.until || *until > *taken.until)
        taken.until = until;
    return true;
}

bool wakeup_sources::unlock(const std::string& name)
{
    const auto known = locks_.find(name);
    if (known == locks_.end())
        return false;
    end(known->second);
    return true;
}

std::string wakeup_sources::lock_names(bool held) const
{
    std::string names;
    for (const auto& [name, each] : locks_)
        if (each.active == held)
            names += (names.empty() ? "" : " ") + name;
    return names + "\n";
}

void wakeup_sources::hold_until(time_point until)
{
    held_ = {true, until};
}

void wakeup_sources::end_due(time_point now)
{
    const auto end_if_due = [&](source& each) {
        if (each.until && *each.until <= now)
            end(each);
    };
    end_if_due(held_);
    for (auto& [name, each] : locks_)
        end_if_due(each);
}

std::optional<wakeup_sources::time_point> wakeup_sources::next_end() const
{
    auto next = held_.until;
    for (const auto& [name, each] : locks_)
        if (each.until && (!next || *each.until < *next))
            next = each.until;
    return next;
}

void wakeup_sources::end(source& ended)
{
    if (ended.active)
        ++count_;
    ended = {};
}

bool wakeup_sources::save(std::uint32_t count)
{
    saved_.reset();
    if (count == count_ && !pending())
        saved_ = count;
    return saved_.has_value();
}

bool wakeup_sources::refuses_sleep()
{
    const auto saved = std::exchange(saved_, std::nullopt);
    return saved && (*saved != count_ || pending());
}

} // namespace kt::terminal
