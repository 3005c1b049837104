/** One call of the program, from the kernel's question to the journal's entry and the answer. */
#pragma once

#include "terminal/fuse/unanswered.h"
#include "terminal/model/journal.h"
#include "terminal/model/request.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kt::terminal {

class operations;

/**
 * What reads, writes and requests share. The journal's line is written before the answer goes out, so that it stands
 * there when the call returns.
 */
class question : private unanswered_call {
public:
    /** @p lines is null for what is not journalled. @p happened holds who asks. */
    question(operations& server, fuse_req_t asked, journal* lines, event happened);
    ~question() override;
    question(const question&) = delete;
    question& operator=(const question&) = delete;

protected:
    caller asked_by() const { return from_; }
    void refuse(int error);
    void refused(fuse_req_t asked, int error); /**< What refuse() does once it is its turn. */
    void interrupted_by(std::function<void()> interrupted);

    /** Answers by @p reply, which may complete the journal's line first (with write_down()), unless somebody has. */
    template <typename Reply>
    void answer(Reply reply)
    {
        if (!all_->take(*this))
            return;
        stop_watching();
        reply(asked_);
        all_->answered();
    }

    void write_down();
    bool journalled() const { return lines_ != nullptr; }
    event& happened() { return happened_; }

private:
    void give_up() override;
    void stop_watching();

    const std::shared_ptr<unanswered> all_;
    operations& server_; // only while the call is unanswered
    fuse_req_t asked_;
    journal* const lines_;
    event happened_;
    const caller from_;
    std::uint64_t watched_ = 0; // the gate's number; 0: a signal is nobody's business
};

/** A read or a write. */
class transfer : public request, private question {
public:
    transfer(operations& server, fuse_req_t asked, journal* lines, event happened, bool may_wait);

    caller from() const override { return asked_by(); }
    void fail(int error) override { refuse(error); }
    bool may_wait() const override { return may_wait_; }
    void when_interrupted(std::function<void()> interrupted) override { interrupted_by(std::move(interrupted)); }
    void bytes(std::string_view data) override;
    void count(std::size_t taken) override;

private:
    const bool may_wait_;
};

/** An ioctl(2). Its record is copied by the kernel where the number tells its size, else from and to the caller. */
class request_question : public device_request, private question {
public:
    struct given {
        std::uint32_t number = 0;
        std::uint64_t argument = 0;
        bool from_32_bits = false;
        int thread = 0;              /**< The caller, as the server knows it. */
        std::string in;              /**< What the kernel has fetched already. */
        std::size_t room = 0;        /**< What it will hand back. */
        std::size_t record_size = 0; /**< The device's, where that is more; then it is fetched at once. */
    };

    request_question(operations& server, fuse_req_t asked, journal* lines, event happened, given what);

    caller from() const override { return asked_by(); }
    void fail(int error) override;
    void when_interrupted(std::function<void()> interrupted) override { interrupted_by(std::move(interrupted)); }
    std::uint32_t number() const override { return given_.number; }
    std::uint64_t argument() const override { return given_.argument; }
    bool caller_has_32_bits() const override { return given_.from_32_bits; }
    int value() override;
    bool copy_in(void* to, std::uint64_t address, std::size_t size) override;
    bool copy_out(std::uint64_t address, const void* from, std::size_t size) override;
    void done(int result) override;

private:
    request_question(given whole, operations& server, fuse_req_t asked, journal* lines, event happened);

    void remember(const void* record, std::size_t size);
    void put_record_down();

    const given given_;
    std::string record_; // for the journal: the first record that was given or handed out, unless it is there already
    std::string out_;
};

} // namespace kt::terminal
