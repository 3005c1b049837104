/** What devices and people do to the sleep, and where a board's sleep is found. */
#include "terminal/sleep/suspend.h"

#include "terminal/model/node.h"
#include "terminal/sleep/suspend_parts.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::milliseconds;

constexpr const char* place = "/run/suspend"; // of the board's own, which no program sees

/** Stands in the board's tree, so that who has the board has its sleep. */
class suspend_node : public node {
public:
    explicit suspend_node(const std::shared_ptr<suspend>& known) : node(S_IFREG), known_(known) {}
    std::shared_ptr<suspend> known() const { return known_.lock(); }

private:
    const std::weak_ptr<suspend> known_;
};

} // namespace

suspend::suspend(board& on) : parts_(std::make_shared<parts>(on))
{
    parts_->put_guards();
    on.set_wake_listener([weak = std::weak_ptr(parts_)](int source) {
        if (const auto self = weak.lock())
            (void)self->turn([&](outcome& told) { (void)self->happened(told, source); });
    });
}

suspend::~suspend()
{
    stop();
}

suspend_state suspend::state() const
{
    suspend_state told;
    (void)parts_->turn([&](outcome&) {
        const parts& now = *parts_;
        told = {.asleep = now.asleep,
                .wakeup_count = now.sources.count(),
                .pending = now.sources.pending(),
                .event = now.last_event,
                .fast = now.fast,
                .timer = std::nullopt,
                .slept = now.slept + now.time_asleep()};
        if (now.timer)
            told.timer = std::max(std::chrono::ceil<milliseconds>(*now.timer - timers::clock::now()), milliseconds(0));
    });
    return told;
}

bool suspend::wake(int source)
{
    bool slept = false;
    (void)parts_->turn([&](outcome& told) { slept = parts_->happened(told, source); });
    return slept;
}

void suspend::set_fast(bool fast)
{
    (void)parts_->turn([&](outcome& told) {
        parts_->fast = fast;
        parts_->skip_to_timer(told);
        parts_->fall_asleep(told);
    });
}

void suspend::stay_pending(milliseconds time)
{
    (void)parts_->turn([&](outcome&) {
        const auto now = timers::clock::now();
        parts_->sources.hold_until(now + time);
        parts_->sources.end_due(now);
    });
}

void suspend::stop()
{
    outcome last;
    {
        std::unique_lock lock(parts_->mutex);
        parts_->stopped = true;
        parts_->all_told.wait(lock, [this] { return parts_->telling == 0; });
        parts_->asleep = false;
        for (auto& each : std::exchange(parts_->sleepers, {}))
            last.fail(std::move(each.asked), EIO);
        for (auto& each : std::exchange(parts_->readers, {}))
            last.fail(std::move(each.asked), EIO);
    }
    last.happen(parts_->shown);
}

std::shared_ptr<suspend> know_suspend(board& known)
{
    auto made = std::make_shared<suspend>(known);
    (void)known.put_device(place, std::make_shared<suspend_node>(made));
    return made;
}

std::shared_ptr<suspend> suspend_of(const board& searched)
{
    const auto found = std::dynamic_pointer_cast<suspend_node>(searched.find(place));
    return found != nullptr ? found->known() : nullptr;
}

} // namespace kt::terminal
