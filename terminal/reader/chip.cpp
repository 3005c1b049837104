/** The queue of requests, and where each goes: to the script or to the table. */
#include "terminal/reader/chip.h"

#include "terminal/model/timers.h"
#include "terminal/reader/request_table.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

namespace kt::terminal {

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
    const std::lock_guard lock(mutex_);
    if (--state_.opened > 0)
        return;
    state_.let_go();
    state_.emulated = {};
    state_.tag = {};
}

void chip::control(device_request_ptr asked)
{
    constexpr std::uint32_t all_requests = 0xC0044D00; // MIPS's _IOWR('M', 0, int), on every machine
    constexpr std::uint32_t number_mask = 0xFF;
    if ((asked->number() & ~number_mask) != all_requests)
        return asked->fail(ENOTTY);
    reader_record record{};
    if (!asked->copy_in(&record, asked->argument(), sizeof record))
        return asked->fail(EFAULT);
    const auto request = static_cast<std::uint8_t>(asked->number() & number_mask);
    call_ptr call;
    {
        const std::lock_guard lock(mutex_);
        const std::uint64_t number = ++last_number_;
        call = std::make_shared<reader_call>(std::move(asked), request, record, [weak = weak_from_this(), number] {
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
        if (under_way_ != 0 || queue_.empty())
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

void chip::begin(const call_ptr& call)
{
    std::optional<scripted_answer> scripted;
    {
        const std::lock_guard lock(mutex_);
        scripted = script_.take(call->number);
    }
    if (!scripted)
        return carry_out(call);
    if (scripted->delay.count() == 0)
        return answer(call, *scripted);
    timers::shared().at(timers::clock::now() + scripted->delay, [call, how = std::move(*scripted)] {
        if (!call->is_over())
            answer(call, how);
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
    if (row->needs_open) {
        turn.card = with_state([&](const reader_state& now) { return now.family == row->family ? now.card : nullptr; });
        if (turn.card == nullptr)
            return call->fail(ENOTCONN);
    }
    guarded(turn, [&] { row->act(turn); });
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
