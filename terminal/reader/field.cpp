/** Exchanges that may be late, garbled or torn. */
#include "terminal/reader/field.h"

#include "terminal/model/timers.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

/** From its first to its last moment answers are kept, also when the step throws. */
class contact::turn {
public:
    turn(contact& whose, std::vector<std::function<void()>>& answers) : whose_(whose), answers_(answers)
    {
        const std::lock_guard held(whose_.following_);
        whose_.used_ = true;
    }
    ~turn()
    {
        const std::lock_guard held(whose_.following_);
        whose_.used_ = false;
        answers_.swap(whose_.to_follow_);
    }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

private:
    contact& whose_;
    std::vector<std::function<void()>>& answers_;
};

void contact::use(const std::function<void(card&)>& step)
{
    std::vector<std::function<void()>> answers;
    {
        const std::lock_guard lock(in_use_);
        const turn own(*this, answers);
        step(*what);
    }
    for (const auto& each : answers)
        each();
}

void contact::follow(std::function<void()> answer)
{
    {
        const std::lock_guard held(following_);
        if (used_) {
            to_follow_.push_back(std::move(answer));
            return;
        }
    }
    answer();
}

void contact::select()
{
    use([](card& here_now) { here_now.power_up(); });
}

std::optional<card_answer> contact::ask(std::string_view frame)
{
    const auto came = std::make_shared<std::optional<card_answer>>(); // who answers later has a place to do so
    std::optional<card_answer> at_once;
    use([&](card& asked) {
        asked.exchange(frame, [came](card_answer answer) { *came = std::move(answer); });
        at_once = *came;
    });
    return at_once;
}

std::string contact::file()
{
    std::string text;
    use([&](const card& shown) { text = shown.file(); });
    return text;
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
    contact_ptr gone;
    {
        const std::lock_guard lock(mutex_);
        const auto found =
            std::find_if(cards_.begin(), cards_.end(), [&](const contact_ptr& each) { return each->name == name; });
        if (found == cards_.end())
            return false;
        gone = *found;
        left = take_locked(gone);
    }
    gone->use([](card& taken) { taken.give_up(); });
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

std::uint64_t field::exchange(const contact_ptr& with, const std::string& frame, waiting then)
{
    std::unique_lock lock(mutex_);
    const std::uint64_t number = ++last_number_;
    const bool torn = with->here && settings_.pull_after == 0U;
    std::vector<waiting> left;
    if (torn) {
        settings_.pull_after.reset();
        left = take_locked(with);
        pulled_.push_back(with);
    }
    if (!with->here) {
        lock.unlock();
        if (torn)
            with->use([&](card& pulled) { pulled.lose_power_during(frame); });
        left.push_back(std::move(then));
        for (const waiting& each : left)
            each({ETIMEDOUT});
        return number;
    }
    if (settings_.pull_after)
        --*settings_.pull_after;
    constexpr unsigned all = 100;
    const bool garbled = settings_.noise != 0 && chance_() % all < settings_.noise;
    const std::chrono::milliseconds delay = settings_.delay;
    pending_.emplace(number, pending{with, std::move(then)});
    lock.unlock();

    const auto answer = [weak = weak_from_this(), number, garbled, delay](card_answer came) {
        outcome what{0, std::move(came)};
        if (garbled && what.answer.is != card_answer::form::silence)
            what = {EBADMSG};
        if (const auto self = weak.lock())
            self->deliver(number, std::move(what), delay);
    };
    with->use([&](card& asked) {
        asked.exchange(frame, [answer, whose = std::weak_ptr<contact>(with)](card_answer came) {
            if (const auto still = whose.lock())
                still->follow([answer, came = std::move(came)] { answer(came); });
        });
    });
    return number;
}

void field::give_up(std::uint64_t number)
{
    std::unique_lock lock(mutex_);
    const auto left = pending_.extract(number);
    lock.unlock();
    if (left.empty())
        return;
    const contact_ptr with = left.mapped().with;
    with->use([&](card& asked) {
        std::unique_lock held(mutex_);
        const bool asked_anew =
            std::any_of(pending_.begin(), pending_.end(), [&](const auto& each) { return each.second.with == with; });
        held.unlock();
        if (!asked_anew) // else another command takes this one's place, or has taken it
            asked.give_up();
    });
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

void field::seed(std::uint32_t with)
{
    const std::lock_guard lock(mutex_);
    chance_.seed(with);
}

} // namespace kt::terminal
