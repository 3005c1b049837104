/** Answering the kernel. */
#include "terminal/fuse/question.h"

#include "terminal/fuse/operations.h"
#include "terminal/model/errno_names.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <sys/uio.h>
#include <utility>

namespace kt::terminal {

question::question(operations& server, fuse_req_t asked, journal* lines, event happened)
    : all_(server.waiting()),
      server_(server),
      asked_(asked),
      lines_(lines),
      happened_(std::move(happened)),
      from_{happened_.pid, happened_.tid}
{
    all_->add(*this);
}

question::~question()
{
    question::refuse(EIO); // unless it is answered: whoever should have done it is gone
}

void question::write_down()
{
    if (lines_ != nullptr)
        lines_->append(std::move(happened_));
}

void question::refuse(int error)
{
    answer([&](fuse_req_t asked) { refused(asked, error); });
}

void question::refused(fuse_req_t asked, int error)
{
    happened_.error = errno_name(error);
    write_down();
    fuse_reply_err(asked, error);
}

void question::give_up()
{
    happened_.error = errno_name(EIO);
    write_down();
    fuse_reply_err(asked_, EIO);
}

void question::interrupted_by(std::function<void()> interrupted)
{
    all_->with(*this, [&] { watched_ = server_.waits().watch(asked_, std::move(interrupted)); });
}

void question::stop_watching()
{
    if (watched_ != 0)
        server_.waits().forget(watched_);
}

transfer::transfer(operations& server, fuse_req_t asked, journal* lines, event happened, bool may_wait)
    : question(server, asked, lines, std::move(happened)), may_wait_(may_wait)
{
}

void transfer::bytes(std::string_view data)
{
    answer([&](fuse_req_t asked) {
        if (journalled())
            happened().data = data;
        write_down();
        fuse_reply_buf(asked, data.data(), data.size());
    });
}

void transfer::count(std::size_t taken)
{
    answer([&](fuse_req_t asked) {
        if (taken < happened().data.size())
            happened().data.resize(taken); // what was taken is what was written
        write_down();
        fuse_reply_write(asked, taken);
    });
}

namespace {

/** Nothing: the caller has no such memory. */
std::optional<std::string> fetched(int thread, std::uint64_t address, std::size_t size)
{
    std::string bytes(size, '\0');
    const iovec here{bytes.data(), size};
    const iovec there{reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
    if (process_vm_readv(thread, &here, 1, &there, 1, 0) != static_cast<ssize_t>(size))
        return std::nullopt;
    return bytes;
}

request_question::given with_whole_record(request_question::given what)
{
    if (what.record_size > what.in.size())
        if (auto whole = fetched(what.thread, what.argument, what.record_size))
            what.in = std::move(*whole);
    return what;
}

/** A device's whole record is in the journal's line from the beginning: whoever ends the call writes it down. */
event with_data(event happened, const request_question::given& what)
{
    if (what.record_size != 0)
        happened.data = what.in;
    return happened;
}

} // namespace

request_question::request_question(operations& server, fuse_req_t asked, journal* lines, event happened, given what)
    : request_question(with_whole_record(std::move(what)), server, asked, lines, std::move(happened))
{
}

request_question::request_question(given whole, operations& server, fuse_req_t asked, journal* lines, event happened)
    : question(server, asked, lines, with_data(std::move(happened), whole)), given_(std::move(whole))
{
}

/** For the journal, unless the whole record is there from the beginning. */
void request_question::remember(const void* record, std::size_t size)
{
    if (given_.record_size == 0 && record_.empty())
        record_.assign(static_cast<const char*>(record), size);
}

void request_question::put_record_down()
{
    if (journalled() && given_.record_size == 0)
        happened().data = std::move(record_);
}

void request_question::fail(int error)
{
    answer([&](fuse_req_t asked) {
        put_record_down();
        refused(asked, error);
    });
}

int request_question::value()
{
    const int number = device_request::value();
    remember(&number, sizeof number);
    return number;
}

bool request_question::copy_in(void* to, std::uint64_t address, std::size_t size)
{
    if (address == given_.argument && size <= given_.in.size()) {
        std::memcpy(to, given_.in.data(), size);
    } else {
        const auto bytes = fetched(given_.thread, address, size);
        if (!bytes)
            return false;
        std::memcpy(to, bytes->data(), size);
    }
    if (address == given_.argument)
        remember(to, size);
    return true;
}

bool request_question::copy_out(std::uint64_t address, const void* from, std::size_t size)
{
    const auto* const bytes = static_cast<const char*>(from);
    const bool whole = address == given_.argument && size <= given_.room;
    if (!whole) {
        const iovec here{const_cast<void*>(from), size};
        const iovec there{reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
        if (process_vm_writev(given_.thread, &here, 1, &there, 1, 0) != static_cast<ssize_t>(size))
            return false;
    }
    if (address == given_.argument) {
        out_.assign(bytes, std::min(size, given_.room)); // the kernel writes this part, perhaps once more
        remember(from, size);
    }
    return true;
}

void request_question::done(int result)
{
    answer([&](fuse_req_t asked) {
        put_record_down();
        happened().result = result;
        write_down();
        fuse_reply_ioctl(asked, result, out_.data(), out_.size());
    });
}

} // namespace kt::terminal
