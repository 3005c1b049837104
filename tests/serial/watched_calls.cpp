/** Each call as a text, and what a test wants to happen at it. */
#include "tests/serial/watched_calls.h"

#include <fcntl.h>

namespace kt::tests {

namespace {

std::string text_of(const c_call& call)
{
    if (call.name == "select")
        return "select " + call.sets;
    if (call.name == "open")
        return "open " + (call.flags == O_RDWR ? "O_RDWR" : std::to_string(call.flags)) + " " + call.path;
    if (call.name == "fcntl") {
        if (call.command == F_GETFL)
            return "fcntl F_GETFL";
        if (call.command == F_SETFL)
            return (call.flags & O_NONBLOCK) != 0 ? "fcntl F_SETFL O_NONBLOCK" : "fcntl F_SETFL";
        return "fcntl " + std::to_string(call.command);
    }
    if (call.name == "read" || call.name == "write")
        return call.name + " " + std::to_string(call.size);
    if (call.name == "posix_openpt")
        return std::string("posix_openpt") + ((call.flags & O_ACCMODE) == O_RDWR ? " O_RDWR" : "") +
               ((call.flags & O_NOCTTY) != 0 ? " O_NOCTTY" : "");
    return call.name;
}

} // namespace

std::vector<std::string> watched_calls::take()
{
    stop();
    return std::move(made_);
}

void watched_calls::fail(const std::string& beginning, int cause)
{
    failures_.emplace_back(beginning, cause);
}

void watched_calls::before(const std::string& beginning, std::function<void()> what)
{
    earlier_.emplace_back(beginning, std::move(what));
}

int watched_calls::begins(const c_call& call)
{
    const std::string text = text_of(call);
    made_.push_back(text);
    for (auto each = earlier_.begin(); each != earlier_.end(); ++each) {
        if (text.starts_with(each->first)) {
            each->second();
            earlier_.erase(each);
            break;
        }
    }
    int cause = 0;
    for (auto each = failures_.begin(); each != failures_.end(); ++each) {
        if (text.starts_with(each->first)) {
            cause = each->second;
            failures_.erase(each);
            break;
        }
    }
    return cause;
}

} // namespace kt::tests
