/** Cards that answer whole commands: by a script, or through an attached program. */
#include "terminal/cards/apdu_card.h"

#include "terminal/cards/attachable.h"
#include "terminal/cards/command_script.h"
#include "terminal/cards/iso14443_identity.h"

#include <atomic>
#include <mutex>
#include <utility>

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
        written.put_head(identity_.family == card_family::type_b ? "type_b" : "type_a", name_);
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

private:
    void powered() override { script_.power_up(); }
    void asked(std::string_view frame, reply answered) override { answered(answer_of(script_.answer(frame))); }
    void put_answers(card_file& into) const override { script_.put(into); }

    command_script script_;
};

class attached_card : public apdu_card, public attachable {
public:
    explicit attached_card(const card_file& file) : apdu_card(file) {}

    void give_up() override { wait_for(std::nullopt); }

    std::optional<attached_command> waiting_command() const override
    {
        const std::lock_guard lock(mutex_);
        return waiting_ ? std::optional(attached_command{waiting_->number, waiting_->frame}) : std::nullopt;
    }

    bool answer(std::uint64_t number, std::string bytes) override
    {
        std::optional<command> answered;
        {
            const std::lock_guard lock(mutex_);
            if (!waiting_ || waiting_->number != number)
                return false;
            answered = std::exchange(waiting_, std::nullopt);
        }
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
        std::uint64_t number;
        std::string frame;
        card::reply reply;
    };

    void powered() override { wait_for(std::nullopt); }
    void torn(std::string_view /*frame*/) override { wait_for(std::nullopt); }

    void asked(std::string_view frame, reply answered) override
    {
        static std::atomic<std::uint64_t> last_number = 0;
        wait_for(command{++last_number, std::string(frame), std::move(answered)});
    }

    /** In place of what waits now, which is answered with silence. */
    void wait_for(std::optional<command> next)
    {
        std::function<void()> told;
        std::optional<command> dropped;
        {
            const std::lock_guard lock(mutex_);
            if (next)
                told = told_;
            dropped = std::exchange(waiting_, std::move(next));
        }
        if (dropped)
            dropped->reply(card_answer::silent());
        if (told)
            told();
    }

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
