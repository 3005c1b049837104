/** The list of failure rules. */
#include "terminal/model/faults.h"

#include <algorithm>
#include <fnmatch.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr std::pair<std::string_view, access> accesses[] = {
    {"lookup", access::lookup}, {"open", access::open},     {"read", access::read},     {"write", access::write},
    {"ioctl", access::ioctl},   {"create", access::create}, {"remove", access::remove}, {"run", access::run},
};

bool fits(const std::string& pattern, std::string_view path)
{
    return pattern == path || fnmatch(pattern.c_str(), std::string(path).c_str(), FNM_PATHNAME) == 0;
}

} // namespace

std::optional<access> access_named(std::string_view word)
{
    for (const auto& [name, kind] : accesses)
        if (name == word)
            return kind;
    return std::nullopt;
}

std::string_view name_of(access kind)
{
    for (const auto& [name, value] : accesses)
        if (value == kind)
            return name;
    return "";
}

int faults::add(fault rule)
{
    const std::lock_guard lock(mutex_);
    entries_.push_back({++last_number_, std::move(rule)});
    return last_number_;
}

bool faults::remove(int rule)
{
    std::function<void()> released;
    {
        const std::lock_guard lock(mutex_);
        if (std::erase_if(entries_, [rule](const entry& each) { return each.number == rule; }) == 0)
            return false;
        released = released_;
    }
    if (released)
        released();
    return true;
}

void faults::clear()
{
    std::function<void()> released;
    {
        const std::lock_guard lock(mutex_);
        entries_.clear();
        released = released_;
    }
    if (released)
        released();
}

std::optional<verdict> faults::next(std::string_view path, access on)
{
    const std::lock_guard lock(mutex_);
    for (entry& each : entries_) {
        if (each.rule.on != on || !fits(each.rule.path, path))
            continue;
        const int nth = each.seen++;
        if (nth < each.rule.skip || (each.rule.times > 0 && nth >= each.rule.skip + each.rule.times))
            continue;
        return verdict{each.rule.error, each.rule.delay, each.rule.hang, each.number};
    }
    return std::nullopt;
}

bool faults::stands(int rule) const
{
    const std::lock_guard lock(mutex_);
    return std::any_of(entries_.begin(), entries_.end(), [rule](const entry& each) { return each.number == rule; });
}

void faults::set_released(std::function<void()> released)
{
    const std::lock_guard lock(mutex_);
    released_ = std::move(released);
}

} // namespace kt::terminal
