/** Operands out of the record, answers into it. */
#include "terminal/reader/call.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace kt::terminal {

reader_call::reader_call(device_request_ptr asked, std::uint8_t asked_number, const reader_record& given,
                         std::function<void()> over)
    : number(asked_number), record(given), asked_(std::move(asked)), over_(std::move(over))
{
}

std::string reader_call::operand(std::size_t size) const
{
    if (record.transmit_length != size)
        throw request_refused{EINVAL};
    return operand();
}

std::string reader_call::operand() const
{
    if (record.transmit_length == 0 || record.transmit_length > reader_record::most)
        throw request_refused{EINVAL};
    return {reinterpret_cast<const char*>(record.transmit), record.transmit_length};
}

char reader_call::parameter_byte() const
{
    constexpr std::uint32_t most = 0xFF;
    if (record.parameter > most)
        throw request_refused{EINVAL};
    return static_cast<char>(record.parameter);
}

bool reader_call::receive(std::string_view bytes)
{
    if (bytes.size() > reader_record::most)
        return false;
    std::copy(bytes.begin(), bytes.end(), record.receive);
    record.receive_length = static_cast<std::uint32_t>(bytes.size());
    return true;
}

device_request_ptr reader_call::take()
{
    std::vector<std::function<void()>> told;
    device_request_ptr asked;
    {
        const std::lock_guard lock(mutex_);
        told.swap(told_);
        asked = std::move(asked_);
    }
    for (const auto& each : told)
        each();
    return asked;
}

void reader_call::when_over(std::function<void()> told)
{
    {
        const std::lock_guard lock(mutex_);
        if (asked_ != nullptr) {
            told_.push_back(std::move(told));
            return;
        }
    }
    told();
}

void reader_call::done(int result)
{
    const device_request_ptr asked = take();
    if (asked == nullptr)
        return;
    if (asked->copy_out(asked->argument(), &record, sizeof record))
        asked->done(result);
    else
        asked->fail(EFAULT);
    over_();
}

void reader_call::fail(int error)
{
    const device_request_ptr asked = take();
    if (asked == nullptr)
        return;
    asked->fail(error);
    over_();
}

void reader_call::fail_with_record(int error)
{
    const device_request_ptr asked = take();
    if (asked == nullptr)
        return;
    asked->fail(asked->copy_out(asked->argument(), &record, sizeof record) ? error : EFAULT);
    over_();
}

bool reader_call::is_over() const
{
    const std::lock_guard lock(mutex_);
    return asked_ == nullptr;
}

void reader_call::be_interruptible(const std::shared_ptr<reader_call>& waiting)
{
    const std::lock_guard lock(waiting->mutex_);
    if (waiting->asked_ == nullptr)
        return;
    waiting->asked_->when_interrupted([weak = std::weak_ptr<reader_call>(waiting)] {
        if (const auto still = weak.lock())
            still->fail(EINTR);
    });
}

} // namespace kt::terminal
