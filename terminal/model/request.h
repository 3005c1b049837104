/** Reads, writes and requests on an open node, each waiting for its answer. */
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace kt::terminal {

/** Who asks, as the program itself knows its numbers. */
struct caller {
    int pid = 0;
    int tid = 0;
};

/**
 * One call of the program. Answered exactly once, at once or later, from any thread; the answer ends its life. A node
 * that waits keeps it.
 */
class pending_call {
public:
    virtual ~pending_call() = default;
    pending_call() = default;
    pending_call(const pending_call&) = delete;
    pending_call& operator=(const pending_call&) = delete;

    virtual caller from() const = 0;
    virtual void fail(int error) = 0;

    /** False: the program asked not to wait (O_NONBLOCK); what would wait fails with EAGAIN. */
    virtual bool may_wait() const { return true; }

    /**
     * For calls that are kept: @p interrupted is called at most once, from a thread of the server's, when a signal
     * wants the call to end. It finds the call among those that are kept and answers it (EINTR, or with what there is);
     * if it is not there any more, somebody else has answered.
     */
    // NOLINTNEXTLINE(performance-unnecessary-value-param): those that override it keep it
    virtual void when_interrupted(std::function<void()> /*interrupted*/) {}
};

/** A read or a write. */
class request : public pending_call {
public:
    virtual void bytes(std::string_view data) = 0; /**< The answer to a read. */
    virtual void count(std::size_t taken) = 0;     /**< The answer to a write. */
};

using request_ptr = std::unique_ptr<request>;

/** An ioctl(2). */
class device_request : public pending_call {
public:
    virtual std::uint32_t number() const = 0;
    virtual std::uint64_t argument() const = 0; /**< As given: a number, or an address in the caller's memory. */
    virtual bool caller_has_32_bits() const = 0;

    /** The argument of a request that takes a number; the journal then shows it as the request's data (an int). */
    virtual int value() { return static_cast<int>(argument()); }

    /** Copies between the caller's memory and the board's. False: a bad address, which is EFAULT. */
    virtual bool copy_in(void* to, std::uint64_t address, std::size_t size) = 0;
    virtual bool copy_out(std::uint64_t address, const void* from, std::size_t size) = 0;

    virtual void done(int result = 0) = 0;
};

using device_request_ptr = std::unique_ptr<device_request>;

/** Answers a request whose argument is the place for a record. */
template <typename Record>
void answer_with(device_request& asked, const Record& record)
{
    if (asked.copy_out(asked.argument(), &record, sizeof record))
        asked.done();
    else
        asked.fail(EFAULT);
}

} // namespace kt::terminal
