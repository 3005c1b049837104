/** The board's clock as an offset from the desk's, with an end that no number of changes leads beyond. */
#include "terminal/model/board_clock.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr nanoseconds end = seconds(board_clock::last_second);

nanoseconds desk_time()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

/** Limits the seconds before they become nanoseconds. */
nanoseconds limited(const timespec& time, bool& reached)
{
    const auto second = std::int64_t{time.tv_sec};
    if (board_clock::holds(second))
        return seconds(second) + nanoseconds(time.tv_nsec);
    reached = false;
    return second < 0 ? nanoseconds(0) : end;
}

nanoseconds sum(nanoseconds one, nanoseconds other, nanoseconds most, bool& reached)
{
    const nanoseconds room = std::max(most - one, nanoseconds(0));
    reached = reached && other <= room;
    return one + std::clamp(other, nanoseconds(0), room);
}

} // namespace

board_clock::state board_clock::changed_by(state now, const clock_change& wanted, bool& reached)
{
    const nanoseconds desk = desk_time();
    if (wanted.set)
        now.offset = limited(*wanted.set, reached) - desk;
    now.offset = sum(now.offset, wanted.advance, end - desk, reached);
    now.skipped = sum(now.skipped, wanted.advance, end, reached);
    return now;
}

nanoseconds board_clock::offset() const
{
    const std::lock_guard lock(mutex_);
    return state_.offset;
}

timespec board_clock::now() const
{
    const nanoseconds time = desk_time() + offset();
    const auto whole = std::chrono::floor<seconds>(time);
    return {static_cast<time_t>(whole.count()), static_cast<long>((time - whole).count())};
}

nanoseconds board_clock::skipped() const
{
    const std::lock_guard lock(mutex_);
    return state_.skipped;
}

bool board_clock::reaches(const clock_change& wanted) const
{
    const std::lock_guard lock(mutex_);
    bool reached = true;
    (void)changed_by(state_, wanted, reached);
    return reached;
}

void board_clock::change(const clock_change& wanted, std::function<void()> followed)
{
    listener told;
    {
        const std::lock_guard lock(mutex_);
        bool reached = true;
        state_ = changed_by(state_, wanted, reached);
        told = changed_;
    }
    if (told)
        told(std::move(followed));
    else
        followed();
}

void board_clock::change_and_wait(const clock_change& wanted)
{
    struct wait_state {
        std::mutex mutex;
        std::condition_variable over;
        bool followed = false;
    };
    const auto wait = std::make_shared<wait_state>(); // the listener may be later than we wait
    change(wanted, [wait] {
        const std::lock_guard lock(wait->mutex);
        wait->followed = true;
        wait->over.notify_all();
    });
    std::unique_lock lock(wait->mutex);
    wait->over.wait_for(lock, longest_wait, [&] { return wait->followed; });
}

void board_clock::set_listener(listener changed)
{
    const std::lock_guard lock(mutex_);
    changed_ = std::move(changed);
}

} // namespace kt::terminal
