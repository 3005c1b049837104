/** The battery's attributes, and what makes it look at the time. */
#include "terminal/battery/battery.h"

#include "terminal/model/node.h"
#include "terminal/model/shown_number.h"
#include "terminal/model/timers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

namespace {

constexpr const char* bay_place = "/run/battery"; // of the board's own, which no program sees
constexpr double tick_percent = 0.1;
constexpr std::chrono::seconds shortest_tick{1};
constexpr std::chrono::seconds longest_tick{60};

std::optional<std::int64_t> number_at(const board& asked, const char* path)
{
    const auto state = asked.attribute(path);
    if (!state)
        return std::nullopt;
    return shown_number(state->text);
}

} // namespace

/** Somebody who touches the board, also without the lock: stop() waits for its end. False: the battery is stopped. */
class battery::turn {
public:
    explicit turn(battery& of) : battery_(of)
    {
        const std::lock_guard lock(battery_.mutex_);
        if (battery_.stopped_)
            return;
        ++battery_.turns_;
        taken_ = true;
    }
    ~turn()
    {
        if (!taken_)
            return;
        const std::lock_guard lock(battery_.mutex_);
        --battery_.turns_;
        battery_.turn_over_.notify_all();
    }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

    explicit operator bool() const { return taken_; }

private:
    battery& battery_;
    bool taken_ = false;
};

battery::battery(board& on, std::string folder, clock now)
    : board_(on), folder_(std::move(folder)), now_(std::move(now)), last_(now_())
{
}

void battery::begin(const battery_change& at_start)
{
    if (at_start.mains)
        set_mains(*at_start.mains);
    const std::lock_guard lock(mutex_);
    (void)follow_locked();
    apply_locked(at_start);
    const supply_values values = values_locked();
    for (std::size_t at = 0; at < supply_properties; ++at) {
        shown_[at] = values[at] + "\n";
        const auto kind = supply_forms[at].text == supply_text::number ? attribute_kind::integer : attribute_kind::text;
        if (!board_.attribute(path_of(at)) &&
            !board_.put_attribute(path_of(at), {.text = *shown_[at], .mode = 0444, .kind = kind}))
            throw std::invalid_argument(path_of(at) + ": the place is taken");
    }
    place_ = board_.find(folder_);
    tick_later_locked();
}

bool battery::is_gone() const
{
    const std::lock_guard lock(mutex_);
    return is_gone_locked();
}

bool battery::is_gone_locked() const
{
    if (stopped_) // the board may have ended since
        return true;
    const auto there = board_.find(folder_);
    return there == nullptr || there != place_.lock();
}

void battery::stop()
{
    std::unique_lock lock(mutex_);
    stopped_ = true;
    turn_over_.wait(lock, [this] { return turns_ == 0; });
}

void battery::refresh()
{
    const turn mine(*this);
    if (!mine)
        return;
    bool mains_changed = false;
    {
        const std::lock_guard lock(mutex_);
        if (is_gone_locked())
            return;
        mains_changed = follow_locked();
        show_locked();
        tick_later_locked();
    }
    if (mains_changed)
        board_.wake(wake_source::other); // as the charger's own interrupt
}

void battery::change(const battery_change& how)
{
    const turn mine(*this);
    if (!mine)
        return;
    if (how.mains)
        set_mains(*how.mains);
    {
        const std::lock_guard lock(mutex_);
        (void)follow_locked();
        apply_locked(how);
    }
    refresh();
}

battery_state battery::state() const
{
    const std::lock_guard lock(mutex_);
    battery_state told;
    told.capacity = cell_.capacity();
    told.mains = cell_.mains();
    told.limit = cell_.limit();
    told.charge_rate = cell_.charge_rate();
    told.discharge_rate = cell_.discharge_rate();
    told.speed = speed_;
    for (const auto& [property, text] : fixed_)
        told.fixed.push_back(property);
    told.values = values_locked();
    return told;
}

void battery::set_mains(bool present)
{
    attribute_state state = board_.attribute(mains_attribute)
                                .value_or(attribute_state{.text = {}, .mode = 0444, .kind = attribute_kind::integer});
    state.text = present ? "1\n" : "0\n";
    if (!board_.put_attribute(mains_attribute, std::move(state))) // this battery hears of it as of anybody's
        throw std::invalid_argument(std::string(mains_attribute) + ": the place is taken");
}

void battery::apply_locked(const battery_change& how)
{
    const auto show_again = [&](supply_property which) { shown_[static_cast<std::size_t>(which)].reset(); };
    if (how.charge_rate)
        cell_.set_charge_rate(*how.charge_rate);
    if (how.discharge_rate)
        cell_.set_discharge_rate(*how.discharge_rate);
    speed_ = how.speed.value_or(speed_);
    if (how.capacity) {
        cell_.set_capacity(*how.capacity);
        show_again(supply_property::capacity);
    }
    for (const auto& [property, text] : how.fixed) {
        if (text)
            fixed_.insert_or_assign(property, *text);
        else
            fixed_.erase(property);
        show_again(property);
    }
}

/** Brings the cell up to now. True: mains came or went. */
bool battery::follow_locked()
{
    const time_point now = now_();
    cell_.pass(std::max(now - last_, time_point::duration::zero()) * speed_);
    last_ = now;
    const bool mains = number_at(board_, mains_attribute).value_or(0) != 0;
    const bool changed = mains != cell_.mains();
    cell_.set_limit(
        static_cast<int>(std::clamp<std::int64_t>(number_at(board_, limit_attribute).value_or(100), 0, 100)));
    cell_.set_mains(mains);
    return changed;
}

/** A text that somebody set, or an attribute that somebody removed, stays until the battery has something new to say.
 */
void battery::show_locked()
{
    const supply_values values = values_locked();
    for (std::size_t at = 0; at < supply_properties; ++at) {
        std::string text = values[at] + "\n";
        if (shown_[at] == text)
            continue;
        (void)board_.put_text(path_of(at), text);
        shown_[at] = std::move(text);
    }
}

supply_values battery::values_locked() const
{
    supply_values values = cell_.values();
    for (const auto& [property, text] : fixed_)
        values[static_cast<std::size_t>(property)] = text;
    return values;
}

/** While the charge changes, one tick is under way: after a tenth of a percent or when the change ends. */
void battery::tick_later_locked()
{
    const double rate = cell_.rate() * speed_; // percent an hour
    if (rate == 0)
        return;
    const battery_cell::hours wanted(std::min(tick_percent / std::abs(rate), cell_.steady().count() / speed_));
    const auto wait = wanted >= longest_tick
                          ? std::chrono::steady_clock::duration(longest_tick)
                          : std::max<std::chrono::steady_clock::duration>(
                                std::chrono::duration_cast<std::chrono::milliseconds>(wanted), shortest_tick);
    const time_point due = std::chrono::steady_clock::now() + wait;
    if (due_ && *due_ <= due)
        return;
    due_ = due;
    timers::shared().at(due, [weak = weak_from_this(), due] {
        const auto alive = weak.lock();
        if (alive == nullptr)
            return;
        {
            const std::lock_guard lock(alive->mutex_);
            if (alive->due_ == due)
                alive->due_.reset();
        }
        alive->refresh();
    });
}

std::string battery::path_of(std::size_t property) const
{
    return folder_ + "/" + std::string(supply_forms[property].name);
}

/** Stands in the board's tree, so that who has the board has its battery. */
class fitted_battery::bay : public node {
public:
    bay() : node(S_IFREG) {}

    std::shared_ptr<battery> fitted() const
    {
        const std::lock_guard lock(mutex_);
        return battery_;
    }
    void fit(std::shared_ptr<battery> made)
    {
        const std::lock_guard lock(mutex_);
        battery_ = std::move(made);
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<battery> battery_;
};

fitted_battery::fitted_battery(board& fitted, const battery::clock& now) : bay_(std::make_shared<bay>())
{
    (void)fitted.put_device(bay_place, bay_);
    fitted.set_device_maker(
        "battery", [place = bay_, now](board& on, const std::string& path, const std::string& options) {
            if (const auto older = place->fitted(); older != nullptr && !older->is_gone()) {
                if (older->folder() != path)
                    throw std::invalid_argument("there is a battery at " + older->folder() + " already");
                return; // in already
            } else if (older != nullptr) {
                older->stop();
            }
            if (!path.starts_with("/sys/class/power_supply/"))
                throw std::invalid_argument("a battery must lie below /sys/class/power_supply");
            const auto made = std::make_shared<battery>(on, path, now);
            made->begin(read_battery_change(options));
            place->fit(made);
        });
    const auto look = [weak = std::weak_ptr(bay_)] {
        const auto alive = weak.lock();
        if (const auto there = alive != nullptr ? alive->fitted() : nullptr)
            there->refresh();
    };
    for (const char* path : {battery::mains_attribute, battery::limit_attribute})
        fitted.follow_attribute(path, [&fitted, path, look] {
            (void)fitted.watch_attribute(path, [look](const std::string&) { look(); });
            look();
        });
}

fitted_battery::~fitted_battery()
{
    if (const auto there = bay_->fitted())
        there->stop();
}

std::shared_ptr<battery> battery_of(const board& searched)
{
    const auto found = std::dynamic_pointer_cast<fitted_battery::bay>(searched.find(bay_place));
    auto there = found != nullptr ? found->fitted() : nullptr;
    return there != nullptr && !there->is_gone() ? there : nullptr;
}

} // namespace kt::terminal
