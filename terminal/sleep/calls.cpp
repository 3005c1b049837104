/** Programs' reads and writes of the sleep's attributes, which may wait. */
#include "terminal/model/shown_number.h"
#include "terminal/sleep/suspend_parts.h"
#include "terminal/sleep/written_words.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::milliseconds;

constexpr const char* state_path = "/sys/power/state";
constexpr const char* timer_path = "/sys/class/kt_misc/ioctl/wakeup_msec";

constexpr milliseconds longest = std::chrono::hours(24 * 365);

} // namespace

attribute_guard suspend::parts::guard_of(writing how)
{
    attribute_guard guard;
    guard.write = [weak = weak_from_this(), how](request_ptr asked, const std::string& written,
                                                 const attribute_guard::go_on&) {
        const auto self = weak.lock();
        const auto work = [&](outcome& told) { (self.get()->*how)(told, std::move(asked), written); };
        if (self == nullptr || !self->turn(work))
            asked->fail(EIO);
    };
    return guard;
}

void suspend::parts::put_guards()
{
    (void)shown.guard_attribute(state_path, guard_of(&parts::write_state));
    (void)shown.guard_attribute(lock_path, guard_of(&parts::write_lock));
    (void)shown.guard_attribute(unlock_path, guard_of(&parts::write_unlock));
    attribute_guard count = guard_of(&parts::write_count);
    count.read = [weak = weak_from_this()](request_ptr asked, attribute_guard::go_on on) {
        const auto self = weak.lock();
        const auto work = [&](outcome&) { self->read_count(std::move(asked), std::move(on)); };
        if (self == nullptr || !self->turn(work))
            asked->fail(EIO);
    };
    (void)shown.guard_attribute(count_path, std::move(count));
    (void)shown.watch_attribute(timer_path, [weak = weak_from_this()](const std::string& text) {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome& told) {
                self->arm(told, milliseconds(std::clamp<std::int64_t>(shown_number(text), 0, longest.count())));
            });
    });
}

void suspend::parts::write_state(outcome& told, request_ptr asked, const std::string& written)
{
    auto word = sleep_word(written);
    if (!word)
        return told.fail(std::move(asked), EINVAL);
    const std::uint64_t number = hear_of_signals(*asked);
    sleepers.push_back({number, std::move(asked), std::move(*word), written.size()});
    fall_asleep(told);
}

void suspend::parts::write_count(outcome& told, request_ptr asked, const std::string& written)
{
    const auto count = leading_count(written);
    if (!count || !sources.save(*count))
        return told.fail(std::move(asked), EINVAL);
    told.count(std::move(asked), written.size());
}

void suspend::parts::write_lock(outcome& told, request_ptr asked, const std::string& written)
{
    const auto said = wake_lock_in(written);
    if (!said)
        return told.fail(std::move(asked), EINVAL);
    std::optional<timers::clock::time_point> until;
    if (said->time)
        until = timers::clock::now() + *said->time;
    if (!sources.lock(said->name, until))
        return told.fail(std::move(asked), ENOSPC);
    told.count(std::move(asked), written.size());
}

void suspend::parts::write_unlock(outcome& told, request_ptr asked, const std::string& written)
{
    const auto name = wake_unlock_in(written);
    if (!name || !sources.unlock(*name))
        return told.fail(std::move(asked), EINVAL);
    told.count(std::move(asked), written.size());
}

void suspend::parts::read_count(request_ptr asked, attribute_guard::go_on on)
{
    const std::uint64_t number = sources.pending() ? hear_of_signals(*asked) : 0;
    readers.push_back({number, std::move(asked), std::move(on)}); // its turn's end lets it go on if nothing is pending
}

/** A signal that is there already finds the call all the same: who is told of it waits for the lock. */
std::uint64_t suspend::parts::hear_of_signals(request& asked)
{
    asked.when_interrupted([weak = weak_from_this(), number = ++last_number] {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome& told) { self->interrupted(told, number); });
    });
    return last_number;
}

void suspend::parts::interrupted(outcome& told, std::uint64_t number)
{
    const auto is_it = [number](const auto& each) { return each.number == number; };
    if (asleep && sleepers.front().number == number) {
        wake_up(told, std::nullopt);
        return fall_asleep(told);
    }
    if (const auto at = std::find_if(sleepers.begin(), sleepers.end(), is_it); at != sleepers.end()) {
        told.fail(std::move(at->asked), EINTR);
        sleepers.erase(at);
    } else if (const auto reads = std::find_if(readers.begin(), readers.end(), is_it); reads != readers.end()) {
        told.fail(std::move(reads->asked), EINTR);
        readers.erase(reads);
    }
}

} // namespace kt::terminal
