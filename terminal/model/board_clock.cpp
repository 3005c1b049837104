/** The board's clock as an offset from the desk's. */
#include "terminal/model/board_clock.h"

#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

nanoseconds from(const timespec& time)
{
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

nanoseconds desk_time()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return from(now);
}

} // namespace

nanoseconds board_clock::offset() const
{
    const std::lock_guard lock(mutex_);
    return offset_;
}

timespec board_clock::now() const
{
    const nanoseconds time = desk_time() + offset();
    const auto whole = std::chrono::floor<seconds>(time);
    return {static_cast<time_t>(whole.count()), static_cast<long>((time - whole).count())};
}

void board_clock::set(const timespec& to)
{
    change([&] { offset_ = from(to) - desk_time(); });
}

void board_clock::advance(nanoseconds by)
{
    change([&] {
        offset_ += by;
        skipped_ += by;
    });
}

nanoseconds board_clock::skipped() const
{
    const std::lock_guard lock(mutex_);
    return skipped_;
}

void board_clock::set_listener(std::function<void()> changed)
{
    const std::lock_guard lock(mutex_);
    changed_ = std::move(changed);
}

void board_clock::change(const std::function<void()>& how)
{
    std::function<void()> tell;
    {
        const std::lock_guard lock(mutex_);
        how();
        tell = changed_;
    }
    if (tell)
        tell();
}

} // namespace kt::terminal
