/** Falling asleep, waking up, and the attributes that tell of it. */
#include "terminal/sleep/suspend_parts.h"
#include "terminal/sleep/written_words.h"

#include <algorithm>
#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::milliseconds;

constexpr const char* event_path = "/sys/class/kt_misc/ioctl/kt_pm_event";

} // namespace

void suspend::parts::arm(outcome& told, milliseconds time)
{
    ++timer_number;
    timer.reset();
    if (time.count() == 0)
        return;
    timer = timers::clock::now() + time;
    timers::shared().at(*timer, [weak = weak_from_this(), number = timer_number] {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome& later) {
                if (self->timer_number == number && std::exchange(self->timer, std::nullopt))
                    (void)self->happened(later, wake_source::timer);
            });
    });
    skip_to_timer(told);
    fall_asleep(told);
}

/** True: the board was asleep. */
bool suspend::parts::happened(outcome& told, int source)
{
    if (!asleep) {
        sources.add_event();
        return false;
    }
    wake_up(told, source);
    fall_asleep(told);
    return true;
}

/** Whoever is next tries, until one sleeps. */
void suspend::parts::fall_asleep(outcome& told)
{
    while (!asleep && !sleepers.empty()) {
        sleeper& first = sleepers.front();
        if (sources.refuses_sleep()) {
            told.fail(std::move(first.asked), EBUSY);
            sleepers.pop_front();
            continue;
        }
        asleep = true;
        fell_asleep = timers::clock::now();
        event line;
        line.kind = "sleep";
        line.pid = first.asked->from().pid;
        line.tid = first.asked->from().tid;
        line.data = first.word;
        shown.events().append(std::move(line));
        skip_to_timer(told);
    }
}

void suspend::parts::skip_to_timer(outcome& told)
{
    if (!asleep || !fast || !timer)
        return;
    const auto left = std::max(*std::exchange(timer, std::nullopt) - timers::clock::now(), timers::clock::duration(0));
    told.skip(left);
    wake_up(told, wake_source::timer, std::chrono::ceil<milliseconds>(left));
}

/** @p source is nothing when a signal ends the sleep. */
void suspend::parts::wake_up(outcome& told, std::optional<int> source, milliseconds skipped)
{
    sleeper woken = std::move(sleepers.front());
    sleepers.pop_front();
    const milliseconds time = time_asleep() + skipped;
    slept += time;
    asleep = false;
    if (source) {
        last_event = source;
        sources.add_event();
        show(event_path, std::to_string(*source) + "\n");
    }
    event line;
    line.kind = "wake";
    line.pid = woken.asked->from().pid;
    line.tid = woken.asked->from().tid;
    line.result = source.value_or(0);
    line.size = static_cast<std::uint64_t>(time.count());
    if (!source)
        line.error = "EINTR";
    shown.events().append(std::move(line));
    if (source)
        told.count(std::move(woken.asked), woken.taken);
    else
        told.fail(std::move(woken.asked), EINTR);
}

void suspend::parts::end_pending_at(timers::clock::time_point time)
{
    timers::shared().at(time, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome&) { self->sources.end_due(timers::clock::now()); });
    });
}

/** What the other side has put into the attribute is the count from now on. */
void suspend::parts::take_over_count()
{
    if (const auto stands = shown.attribute(count_path))
        if (const auto count = leading_count(stands->text))
            sources.set_count(*count);
}

void suspend::parts::show_all()
{
    // A text of the other side's that is no number stays as it is.
    if (const auto stands = shown.attribute(count_path); stands && leading_count(stands->text))
        show(count_path, std::to_string(sources.count()) + "\n");
    show(lock_path, sources.lock_names(true));
    show(unlock_path, sources.lock_names(false));
}

/** An attribute that was taken off the board is not made anew. */
void suspend::parts::show(const char* path, const std::string& text)
{
    auto stands = shown.attribute(path);
    if (!stands || stands->text == text)
        return;
    stands->text = text;
    (void)shown.put_attribute(path, std::move(*stands));
}

} // namespace kt::terminal
