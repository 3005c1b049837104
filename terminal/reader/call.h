/** One request of a program on the reader, until it is answered. */
#pragma once

#include "terminal/model/request.h"
#include "terminal/reader/record.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/**
 * Answered once: whoever comes second (a card that answers after a signal) does nothing. The record belongs to the one
 * step of the request that is under way. Threads: any.
 */
class reader_call {
public:
    /** @p over is called after the answer, without locks. */
    reader_call(device_request_ptr asked, std::uint8_t asked_number, const reader_record& given,
                std::function<void()> over);

    const std::uint8_t number;
    reader_record record;

    /** The valid transmit bytes; throws request_refused (EINVAL) when there are not exactly @p size of them. */
    std::string operand(std::size_t size) const;
    /** The same for any number from 1 to 512. */
    std::string operand() const;
    /** The parameter as one byte of a card's command; throws request_refused (EINVAL) when it is none. */
    char parameter_byte() const;

    /** Puts bytes where the program finds what the card said; false: they are too many. */
    bool receive(std::string_view bytes);

    void done(int result = 0); /**< With the record as it is now. */
    void fail(int error);      /**< The program's record stays as it was. */
    void fail_with_record(int error);
    bool is_over() const;

    /** @p told is called when it is over, before the answer and without locks: at once if it is. */
    void when_over(std::function<void()> told);

    /** From now on a signal ends it with EINTR. */
    static void be_interruptible(const std::shared_ptr<reader_call>& waiting);

private:
    device_request_ptr take();

    mutable std::mutex mutex_;
    device_request_ptr asked_; // null: answered
    std::vector<std::function<void()>> told_{};
    const std::function<void()> over_;
};

using call_ptr = std::shared_ptr<reader_call>;

/** Thrown by the step of a request that cannot be taken further. */
struct request_refused {
    int error;
};

} // namespace kt::terminal
