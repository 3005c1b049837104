/** Answering the kernel. */
#include "terminal/fuse/question.h"

#include "terminal/model/errno_names.h"

#include <cerrno>
#include <utility>

namespace kt::terminal {

question::question(fuse_req_t asked, journal* lines, event happened)
    : asked_(asked), lines_(lines), happened_(std::move(happened))
{
}

question::~question()
{
    if (asked_ != nullptr)
        question::fail(EIO); // whoever should have answered is gone
}

caller question::from() const
{
    return {happened_.pid, happened_.tid};
}

void question::write_down()
{
    if (lines_ != nullptr)
        lines_->append(std::move(happened_));
}

void question::fail(int error)
{
    happened_.error = errno_name(error);
    write_down();
    fuse_reply_err(std::exchange(asked_, nullptr), error);
}

void question::bytes(std::string_view data)
{
    if (lines_ != nullptr)
        happened_.data = data;
    write_down();
    fuse_reply_buf(std::exchange(asked_, nullptr), data.data(), data.size());
}

void question::count(std::size_t taken)
{
    if (taken < happened_.data.size())
        happened_.data.resize(taken); // what was taken is what was written
    write_down();
    fuse_reply_write(std::exchange(asked_, nullptr), taken);
}

} // namespace kt::terminal
