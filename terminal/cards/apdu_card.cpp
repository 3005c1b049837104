/** Cards that answer whole commands: by a script, or through an attached program. */
#include "terminal/cards/apdu_card.h"

#include "terminal/cards/attachable.h"
#include "terminal/cards/command_script.h"
#include "terminal/cards/iso14443_identity.h"

#include <mutex>

namespace kt::terminal {

namespace {

card_answer answer_of(std::string bytes)
{
    return bytes.empty() ? card_answer::silent() : card_answer::of(std::move(bytes));
}

card_family family_of(const card_file& file)
{
    return file.text("card", "") == "type_b" ? card_family::type_b : card_family::type_a;
}

/** Who the card is, in the field and in its file. */
class apdu_card : public card {
public:
    explicit apdu_card(const card_file& file)
        : name_(file.text("name", "")), identity_(iso14443_identity(family_of(file), file))
    {
    }

    const card_identity& identity() const override { return identity_; }

    std::string file() const override
    {
        card_file written;
        written.put("card", identity_.family == card_family::type_b ? "type_b" : "type_a");
        if (!name_.empty())
            written.put("name", name_);
        put_iso14443_identity(identity_, written);
        put_answers(written);
        return written.written();
    }

private:
    virtual void put_answers(card_file& into) const = 0;

    std::string name_;
    card_identity identity_;
};

class scripted_card : public apdu_card {
public:
    explicit scripted_card(const card_file& file) : apdu_card(file), script_(file) {}

    void power_up() override { script_.power_up(); }

    void exchange(std::string_view frame, reply answered) override { answered(answer_of(script_.answer(frame))); }

private:
    void put_answers(card_file& into) const override { script_.put(into); }

    command_script script_;
};

class attached_card : public apdu_card, public attachable {
public:
    explicit attached_card(const card_file& file) : apdu_card(file) {}

    void power_up() override { (void)answer({}); }

    void exchange(std::string_view frame, reply answered) override
    {
        (void)answer({});
        std::function<void()> told;
        {
            const std::lock_guard lock(mutex_);
            waiting_ = command{std::string(frame), std::move(answered)};
            told = told_;
        }
        if (told)
            told();
    }

    std::optional<std::string> waiting_command() const override
    {
        const std::lock_guard lock(mutex_);
        return waiting_ ? std::optional(waiting_->frame) : std::nullopt;
    }

    bool answer(std::string bytes) override
    {
        std::optional<command> answered;
        {
            const std::lock_guard lock(mutex_);
            answered.swap(waiting_);
        }
        if (!answered)
            return false;
        answered->reply(answer_of(std::move(bytes)));
        return true;
    }

    void when_command(std::function<void()> told) override
    {
        const std::lock_guard lock(mutex_);
        told_.swap(told); // what was told before is destroyed after the lock
    }

private:
    struct command {
        std::string frame;
        card::reply reply;
    };

    void put_answers(card_file& into) const override { into.put_flag("program", true); }

    mutable std::mutex mutex_;
    std::optional<command> waiting_{};
    std::function<void()> told_{};
};

} // namespace

card_ptr apdu_card_of(const card_file& file)
{
    if (file.flag("program", false))
        return std::make_shared<attached_card>(file);
    return std::make_shared<scripted_card>(file);
}

} // namespace kt::terminal
