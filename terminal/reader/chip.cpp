/** The queue of requests, and where each goes: to the script or to the table. */
#include "terminal/reader/chip.h"

#include "terminal/model/timers.h"
#include "terminal/reader/request_table.h"
#include "terminal/reader/requests.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

namespace kt::terminal {

std::string_view name_of(reader_family family)
{
    switch (family) {
    case reader_family::tcl:
        return "tcl";
    case reader_family::rid:
        return "rid";
    case reader_family::mfcl:
        return "mfcl";
    case reader_family::felica:
        return "felica";
    case reader_family::mful_c:
        return "mful_c";
    case reader_family::ntag21x:
        return "ntag21x";
    case reader_family::mful_ev1:
        return "mful_ev1";
    case reader_family::none:
        break;
    }
    return {};
}

void reader_state::let_go()
{
    found = nullptr;
    family = reader_family::none;
    card = nullptr;
    key.clear();
    pages = 0;
}

int chip::open()
{
    const std::lock_guard lock(mutex_);
    if (state_.busy)
        return EBUSY;
    ++state_.opened;
    return 0;
}

void chip::close()
{
    reader_state fresh; // at the end the last one, whose cards go without the lock
    const std::lock_guard lock(mutex_);
    if (--state_.opened != 0)
        return;
    fresh.busy = state_.busy;
    std::swap(fresh, state_);
}

void chip::control(device_request_ptr asked)
{
    const auto request = reader_request_of(asked->number());
    if (!request)
        return asked->fail(ENOTTY);
    reader_record record{};
    if (!asked->copy_in(&record, asked->argument(), sizeof record))
        return asked->fail(EFAULT);
    call_ptr call;
    {
        const std::lock_guard lock(mutex_);
        const std::uint64_t number = ++last_number_;
        call = std::make_shared<reader_call>(std::move(asked), *request, record, [weak = weak_from_this(), number] {
            if (const auto self = weak.lock())
                self->over(number);
        });
        queue_.push_back({number, call});
    }
    begin_next();
    reader_call::be_interruptible(call);
}

void chip::begin_next()
{
    call_ptr next;
    {
        const std::lock_guard lock(mutex_);
        if (under_way_ != 0 || steps_ != 0 || queue_.empty())
            return;
        under_way_ = queue_.front().number;
        next = queue_.front().call;
    }
    begin(next);
}

void chip::over(std::uint64_t number)
{
    call_ptr kept; // until the lock is free
    {
        const std::lock_guard lock(mutex_);
        const auto found =
            std::find_if(queue_.begin(), queue_.end(), [&](const queued& each) { return each.number == number; });
        if (found != queue_.end()) {
            kept = std::move(found->call);
            queue_.erase(found);
        }
        if (under_way_ == number)
            under_way_ = 0;
    }
    begin_next();
}

void chip::step_begins()
{
    const std::lock_guard lock(mutex_);
    ++steps_;
}

void chip::step_ends()
{
    {
        const std::lock_guard lock(mutex_);
        --steps_;
    }
    begin_next();
}

void chip::begin(const call_ptr& call)
{
    std::optional<scripted_answer> scripted;
    {
        const std::lock_guard lock(mutex_);
        if (call->is_over()) // by a signal, before its turn: the answer is another's
            return;
        scripted = script_.take(call->number);
    }
    if (!scripted)
        return carry_out(call);
    if (scripted->delay.count() == 0)
        return answer(call, *scripted);
    timers::shared().at(timers::clock::now() + scripted->delay,
                        [weak = std::weak_ptr<reader_call>(call), how = std::move(*scripted)] {
                            if (const auto waiting = weak.lock(); waiting != nullptr && !waiting->is_over())
                                answer(waiting, how);
                        });
}

void chip::answer(const call_ptr& call, const scripted_answer& how)
{
    how.apply_to(call->record);
    if (how.error == 0)
        call->done(how.result);
    else if (how.changes_record())
        call->fail_with_record(how.error);
    else
        call->fail(how.error);
}

void chip::carry_out(const call_ptr& call)
{
    const request_row* const row = row_of(call->number);
    if (row == nullptr)
        return call->fail(ENOTTY);
    request_turn turn{shared_from_this(), call, row->family, nullptr};
    guarded(turn, [&] {
        if (row->needs_open()) {
            turn.card =
                with_state([&](const reader_state& now) { return now.family == row->family ? now.card : nullptr; });
            if (turn.card == nullptr)
                throw request_refused{ENOTCONN};
        }
        row->act(turn);
    });
}

void chip::add_script(const std::vector<scripted_answer>& answers)
{
    const std::lock_guard lock(mutex_);
    script_.add(answers);
}

void chip::forget_script()
{
    const std::lock_guard lock(mutex_);
    script_.forget();
}

std::size_t chip::scripted() const
{
    const std::lock_guard lock(mutex_);
    return script_.left();
}

} // namespace kt::terminal
