/** Tamper words in and out of their attributes, and silence. */
#include "terminal/secure/secure_processor.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace kt::terminal {

namespace {

constexpr const char* place = "/run/secure_processor"; // of the board's own, which no program sees
constexpr const char* no_answer = "0xcccccccc,0x0\n";

std::string words_text(std::uint32_t status, std::uint32_t ram)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%x,0x%x\n", status, ram);
    return text;
}

} // namespace

void secure_processor::found_status()
{
    {
        const std::lock_guard lock(mutex_);
        const auto state = board_.attribute(status_attribute);
        if (!state) {
            shown_.reset();
            return;
        }
        if (shown_ != state->text)
            take_over_locked(state->text);
    }
    attribute_guard before;
    before.read = [weak = weak_from_this()](request_ptr asked, const attribute_guard::go_on& show) {
        if (const auto alive = std::static_pointer_cast<secure_processor>(weak.lock()))
            alive->answer_read(std::move(asked), show);
        else
            show(std::move(asked));
    };
    (void)board_.guard_attribute(status_attribute, std::move(before));
}

void secure_processor::take_over_locked(const std::string& text)
{
    unsigned status = 0;
    unsigned ram = 0;
    by_hand_ = std::sscanf(text.c_str(), "0x%x,0x%x", &status, &ram) != 2 || words_text(status, ram) != text;
    state_.silent_reads = 0;
    shows_silent_ = false;
    if (!by_hand_) {
        state_.status = status;
        state_.ram = ram;
    }
    shown_ = text;
}

void secure_processor::found_reset()
{
    (void)board_.watch_attribute(reset_attribute, [weak = weak_from_this()](const std::string& written) {
        if (const auto alive = std::static_pointer_cast<secure_processor>(weak.lock()))
            alive->reset(written);
    });
}

tamper_state secure_processor::state() const
{
    const std::lock_guard lock(mutex_);
    return state_;
}

bool secure_processor::change(const tamper_change& how)
{
    const std::lock_guard lock(mutex_);
    if (!board_.attribute(status_attribute))
        return false;
    state_.status = how.status.value_or(state_.status);
    state_.ram = how.ram.value_or(state_.ram);
    state_.silent_reads = how.silent_reads.value_or(state_.silent_reads);
    by_hand_ = false;
    show_locked();
    return true;
}

void secure_processor::answer_read(request_ptr asked, const attribute_guard::go_on& show)
{
    bool is_last = false;
    {
        const std::lock_guard lock(mutex_);
        if (shows_silent_ && state_.silent_reads == 0U)
            show_locked(); // before the one that took the last silence came to it
        else if (state_.silent_reads.value_or(0) > 0)
            is_last = --*state_.silent_reads == 0;
    }
    show(std::move(asked)); // without the lock: it is the file system's
    if (is_last) {
        const std::lock_guard lock(mutex_);
        if (shows_silent_ && state_.silent_reads == 0U)
            show_locked();
    }
}

void secure_processor::reset(const std::string& written)
{
    const std::lock_guard lock(mutex_);
    if (std::strtol(written.c_str(), nullptr, 0) != 0 || state_.silent_reads != 0U)
        return;
    ++state_.resets;
    state_.status = 0;
    if (!by_hand_)
        show_locked();
}

void secure_processor::show_locked()
{
    shows_silent_ = state_.silent_reads != 0U;
    shown_ = shows_silent_ ? no_answer : words_text(state_.status, state_.ram);
    (void)board_.put_text(status_attribute, *shown_);
}

void know_secure_processor(board& known)
{
    const auto made = std::make_shared<secure_processor>(known);
    (void)known.put_device(place, made);
    known.follow_attribute(secure_processor::status_attribute, [weak = std::weak_ptr(made)] {
        if (const auto alive = weak.lock())
            alive->found_status();
    });
    known.follow_attribute(secure_processor::reset_attribute, [weak = std::weak_ptr(made)] {
        if (const auto alive = weak.lock())
            alive->found_reset();
    });
}

std::shared_ptr<secure_processor> secure_processor_of(const board& searched)
{
    if (!searched.attribute(secure_processor::status_attribute))
        return nullptr;
    return std::dynamic_pointer_cast<secure_processor>(searched.find(place));
}

} // namespace kt::terminal
