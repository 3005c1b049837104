/** The reader's field: the cards in it, and what goes wrong on the air. */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/model/result.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** A card that was put into the field. It is used by one at a time. */
struct contact {
    contact(std::string called, card_ptr held) : name(std::move(called)), what(std::move(held)) {}

    const std::string name;
    const card_ptr what;
    bool here = true; // under the field's lock

    void use(const std::function<void(card&)>& step);
    /** Does what an answer leads to: now, or when who uses the card now has done, as the next step may use it again. */
    void follow(std::function<void()> answer);

    void select();
    /** Asks it beside the exchanges of the program, so that nothing goes wrong; nothing: it answers later. */
    std::optional<card_answer> ask(std::string_view frame);
    std::string file();

private:
    class turn;

    std::mutex in_use_{};
    std::mutex following_{}; // of what follows
    bool used_ = false;
    std::vector<std::function<void()>> to_follow_{};
};
using contact_ptr = std::shared_ptr<contact>;

struct field_settings {
    std::chrono::milliseconds delay{0}; /**< Each card takes so much longer to be found and to answer. */
    unsigned noise = 0;                 /**< Of 100 answers so many arrive garbled; the cards have got the commands. */
    std::optional<unsigned>
        pull_after{}; /**< After so many exchanges the next one tears the card away in its middle. */
};

/** Threads: any; cards and those who wait are called without the field's lock. */
class field : public std::enable_shared_from_this<field> {
public:
    /** What came of an exchange: an errno, or the answer. */
    struct outcome {
        int error = 0;
        card_answer answer{};
    };
    using waiting = std::function<void(const outcome&)>;

    /** Throws std::invalid_argument with a sentence when a card of this name is there. */
    void tap(const std::string& name, card_ptr card);
    /** Takes it away; false: there is none. */
    bool remove(std::string_view name);
    void remove_all();

    std::vector<contact_ptr> cards() const;
    /** Those that were torn away in the middle of an exchange, until they are tapped again or all are removed. */
    std::vector<contact_ptr> pulled() const;

    /** The only card in the field: ENODEV or ENOTUNIQ. */
    result<contact_ptr> only() const;
    bool is_here(const contact_ptr& searched) const;

    /** A frame to a card. @p then is called once, at once or later, from any thread, unless it is given up; a card that
     * is taken away meanwhile is ETIMEDOUT, noise EBADMSG. Gives the exchange's number. */
    std::uint64_t exchange(const contact_ptr& with, const std::string& frame, waiting then);

    /** Nobody waits any more for this exchange, if it is not over: nothing follows, and its card forgets it. */
    void give_up(std::uint64_t number);

    /** Calls @p then when a card has had the time to be found. */
    void when_found(std::function<void()> then) const;

    field_settings settings() const;
    /** Changes them under the field's lock, as an exchange may count meanwhile. */
    template <typename Change>
    void change(Change change_them)
    {
        const std::lock_guard lock(mutex_);
        change_them(settings_);
    }
    void seed(std::uint32_t with);

private:
    struct pending {
        contact_ptr with;
        waiting then;
    };

    std::vector<waiting> take_locked(const contact_ptr& gone);
    void answered(std::uint64_t number, const outcome& what);
    void deliver(std::uint64_t number, outcome what, std::chrono::milliseconds delay);

    mutable std::mutex mutex_;
    std::vector<contact_ptr> cards_;
    std::vector<contact_ptr> pulled_;
    std::map<std::uint64_t, pending> pending_;
    std::uint64_t last_number_ = 0;
    field_settings settings_;
    std::mt19937 chance_{1};
};

} // namespace kt::terminal
