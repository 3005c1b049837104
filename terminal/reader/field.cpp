/** Exchanges that may be late, garbled or torn. */
#include "terminal/reader/field.h"

#include "terminal/model/timers.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

void contact::select()
{
    const std::lock_guard lock(in_use);
    what->power_up();
}

std::optional<card_answer> contact::ask(std::string_view frame)
{
    const auto came = std::make_shared<std::optional<card_answer>>(); // who answers later has a place to do so
    const std::lock_guard lock(in_use);
    what->exchange(frame, [came](card_answer answer) { *came = std::move(answer); });
    return *came;
}

std::string contact::file()
{
    const std::lock_guard lock(in_use);
    return what->file();
}

void field::tap(const std::string& name, card_ptr card)
{
    const std::lock_guard lock(mutex_);
    const auto has_name = [&](const contact_ptr& each) { return each->name == name; };
    if (std::any_of(cards_.begin(), cards_.end(), has_name))
        throw std::invalid_argument("the card " + name + " is in the field already");
    std::erase_if(pulled_, has_name);
    cards_.push_back(std::make_shared<contact>(name, std::move(card)));
}

/** With the lock held: those who wait for the card, to be told without it. */
std::vector<field::waiting> field::take_locked(const contact_ptr& gone)
{
    gone->here = false;
    std::erase(cards_, gone);
    std::vector<waiting> left;
    for (auto each = pending_.begin(); each != pending_.end();) {
        if (each->second.with == gone) {
            left.push_back(std::move(each->second.then));
            each = pending_.erase(each);
        } else {
            ++each;
        }
    }
    return left;
}

bool field::remove(std::string_view name)
{
    std::vector<waiting> left;
    {
        const std::lock_guard lock(mutex_);
        const auto found =
            std::find_if(cards_.begin(), cards_.end(), [&](const contact_ptr& each) { return each->name == name; });
        if (found == cards_.end())
            return false;
        left = take_locked(contact_ptr(*found));
    }
    for (const waiting& each : left)
        each({ETIMEDOUT});
    return true;
}

void field::remove_all()
{
    for (const contact_ptr& each : cards())
        (void)remove(each->name);
    const std::lock_guard lock(mutex_);
    pulled_.clear();
}

std::vector<contact_ptr> field::cards() const
{
    const std::lock_guard lock(mutex_);
    return cards_;
}

std::vector<contact_ptr> field::pulled() const
{
    const std::lock_guard lock(mutex_);
    return pulled_;
}

result<contact_ptr> field::only() const
{
    const std::lock_guard lock(mutex_);
    if (cards_.size() == 1)
        return cards_.front();
    return result<contact_ptr>::failed(cards_.empty() ? ENODEV : ENOTUNIQ);
}

bool field::is_here(const contact_ptr& searched) const
{
    const std::lock_guard lock(mutex_);
    return searched != nullptr && searched->here;
}

/** An answer that comes while the card is still being asked waits until it is not: the next step may ask it again. */
struct field::early_answer {
    std::mutex mutex;
    bool asking = true;
    std::optional<card_answer> came;
};

void field::exchange(const contact_ptr& with, const std::string& frame, waiting then)
{
    std::unique_lock lock(mutex_);
    const bool torn = with->here && settings_.pull_after == 0U;
    std::vector<waiting> left;
    if (torn) {
        settings_.pull_after.reset();
        left = take_locked(with);
        pulled_.push_back(with);
    }
    if (!with->here) {
        lock.unlock();
        if (torn) {
            const std::lock_guard asking(with->in_use);
            with->what->lose_power_during(frame);
        }
        left.push_back(std::move(then));
        for (const waiting& each : left)
            each({ETIMEDOUT});
        return;
    }
    if (settings_.pull_after)
        --*settings_.pull_after;
    constexpr unsigned all = 100;
    const bool garbled = settings_.noise != 0 && chance_() % all < settings_.noise;
    const std::chrono::milliseconds delay = settings_.delay;
    const std::uint64_t number = ++last_number_;
    pending_.emplace(number, pending{with, std::move(then)});
    lock.unlock();

    const auto early = std::make_shared<early_answer>();
    const auto answer = [weak = weak_from_this(), number, garbled, delay](card_answer came) {
        outcome what{0, std::move(came)};
        if (garbled && what.answer.is != card_answer::form::silence)
            what = {EBADMSG};
        if (const auto self = weak.lock())
            self->deliver(number, std::move(what), delay);
    };
    {
        const std::lock_guard asking(with->in_use);
        with->what->exchange(frame, [early, answer](card_answer came) {
            {
                const std::lock_guard held(early->mutex);
                if (early->asking) {
                    early->came = std::move(came);
                    return;
                }
            }
            answer(std::move(came));
        });
    }
    std::unique_lock held(early->mutex);
    early->asking = false;
    const auto came = std::exchange(early->came, std::nullopt);
    held.unlock();
    if (came)
        answer(*came);
}

void field::deliver(std::uint64_t number, outcome what, std::chrono::milliseconds delay)
{
    if (delay.count() == 0)
        return answered(number, what);
    timers::shared().at(timers::clock::now() + delay, [weak = weak_from_this(), number, what = std::move(what)] {
        if (const auto self = weak.lock())
            self->answered(number, what);
    });
}

void field::answered(std::uint64_t number, const outcome& what)
{
    std::unique_lock lock(mutex_);
    auto found = pending_.extract(number);
    lock.unlock();
    if (!found.empty()) // else the card was taken away, and who waited knows
        found.mapped().then(what);
}

void field::when_found(std::function<void()> then) const
{
    const std::chrono::milliseconds delay = settings().delay;
    if (delay.count() == 0)
        return then();
    timers::shared().at(timers::clock::now() + delay, [weak = weak_from_this(), then = std::move(then)] {
        if (const auto self = weak.lock())
            then();
    });
}

field_settings field::settings() const
{
    const std::lock_guard lock(mutex_);
    return settings_;
}

void field::change(const field_settings& to)
{
    const std::lock_guard lock(mutex_);
    settings_ = to;
}

void field::seed(std::uint32_t with)
{
    const std::lock_guard lock(mutex_);
    chance_.seed(with);
}

} // namespace kt::terminal
