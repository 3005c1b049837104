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
    timer.reset();
    if (time.count() == 0)
        return;
    timer = timers::clock::now() + time;
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
    line.slept_ms = static_cast<std::uint64_t>(time.count());
    if (!source)
        line.error = "EINTR";
    shown.events().append(std::move(line));
    if (source)
        told.count(std::move(woken.asked), woken.taken);
    else
        told.fail(std::move(woken.asked), EINTR);
}

/** Timers are never taken back, so one is set for whatever comes first, and none while a sooner one is under way. */
void suspend::parts::tick_later()
{
    std::optional<timers::clock::time_point> next = sources.next_end();
    if (timer && (!next || *timer < *next))
        next = timer;
    if (!next || (due && *due <= *next))
        return;
    due = next;
    timers::shared().at(*next, [weak = weak_from_this(), at = *next] {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome& told) {
                if (self->due == at)
                    self->due.reset();
                self->tick(told);
            });
    });
}

/** Time has passed: perhaps enough for something, perhaps for what was replaced meanwhile. */
void suspend::parts::tick(outcome& told)
{
    const auto now = timers::clock::now();
    sources.end_due(now);
    if (!timer || *timer > now)
        return;
    timer.reset();
    (void)happened(told, wake_source::timer);
}

/** What the other side has put into the attribute is the count from now on. */
void suspend::parts::take_over_count()
{
    if (const auto stands = shown.attribute(count_path))
        if (const auto count = leading_count(stands->text))
            sources.set_count(*count);
}

void suspend::parts::show_all() const
{
    // A text of the other side's that is no number stays as it is.
    if (const auto stands = shown.attribute(count_path); stands && leading_count(stands->text))
        show(count_path, std::to_string(sources.count()) + "\n");
    show(lock_path, sources.lock_names(true));
    show(unlock_path, sources.lock_names(false));
}

/** The text alone: what the other side does to the attribute meanwhile stays, its removal too. */
void suspend::parts::show(const char* path, const std::string& text) const
{
    if (const auto stands = shown.attribute(path); stands && stands->text != text)
        (void)shown.put_text(path, text);
}

} // namespace kt::terminal
