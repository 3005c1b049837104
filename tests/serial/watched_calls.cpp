/** The calls that stand in the C library's place; they end in it. */
#include "tests/serial/watched_calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace kt::tests {

namespace {

thread_local watched_calls* watcher = nullptr;

/** The C library's own function of this name. */
template <typename Function>
Function* own(const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<Function*>(found);
}

/** Notes a call and either lets it fail or makes it. */
template <typename Text, typename Call>
auto watched(Text text, Call call) -> decltype(call())
{
    if (watched_calls::watching()) {
        if (const int cause = watched_calls::note(text()); cause != 0) {
            errno = cause;
            return -1;
        }
    }
    return call();
}

} // namespace

watched_calls::watched_calls()
{
    watcher = this;
}

watched_calls::~watched_calls()
{
    watcher = nullptr;
}

std::vector<std::string> watched_calls::take()
{
    watcher = nullptr;
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

bool watched_calls::watching()
{
    return watcher != nullptr;
}

int watched_calls::note(const std::string& call)
{
    watched_calls* const here = std::exchange(watcher, nullptr); // what this itself calls is not the library's
    here->made_.push_back(call);
    for (auto each = here->earlier_.begin(); each != here->earlier_.end(); ++each) {
        if (call.starts_with(each->first)) {
            each->second();
            here->earlier_.erase(each);
            break;
        }
    }
    int cause = 0;
    for (auto each = here->failures_.begin(); each != here->failures_.end(); ++each) {
        if (call.starts_with(each->first)) {
            cause = each->second;
            here->failures_.erase(each);
            break;
        }
    }
    watcher = here;
    return cause;
}

} // namespace kt::tests

using kt::tests::own;
using kt::tests::watched;

#pragma GCC visibility push(default) // the library's references must find them

extern "C" {

int close(int fd)
{
    return watched([] { return "close"; }, [&] { return own<decltype(close)>("close")(fd); });
}

int select(int count, fd_set* reading, fd_set* writing, fd_set* excepting, timeval* timeout)
{
    const auto text = [&] {
        return std::string("select ") + (reading != nullptr ? "r" : "") + (writing != nullptr ? "w" : "") +
               (excepting != nullptr ? "e" : "");
    };
    return watched(text, [&] { return own<decltype(select)>("select")(count, reading, writing, excepting, timeout); });
}

// With a file offset of 64 bits the header gives these the names "open64" and "fcntl64".
int open(const char* path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
    va_end(more);
    const auto text = [&] { return "open " + (flags == O_RDWR ? "O_RDWR" : std::to_string(flags)) + " " + path; };
    return watched(text, [&] { return own<int(const char*, int, ...)>("open64")(path, flags, mode); });
}

int fcntl(int fd, int command, ...)
{
    va_list more;
    va_start(more, command);
    void* const argument = va_arg(more, void*);
    va_end(more);
    const auto text = [&]() -> std::string {
        if (command == F_GETFL)
            return "fcntl F_GETFL";
        if (command == F_SETFL)
            return (reinterpret_cast<std::uintptr_t>(argument) & O_NONBLOCK) != 0 ? "fcntl F_SETFL O_NONBLOCK"
                                                                                  : "fcntl F_SETFL";
        return "fcntl " + std::to_string(command);
    };
    return watched(text, [&] { return own<int(int, int, ...)>("fcntl64")(fd, command, argument); });
}

ssize_t read(int fd, void* buf, size_t len)
{
    return watched([&] { return "read " + std::to_string(len); },
                   [&] { return own<decltype(read)>("read")(fd, buf, len); });
}

ssize_t write(int fd, const void* buf, size_t len)
{
    return watched([&] { return "write " + std::to_string(len); },
                   [&] { return own<decltype(write)>("write")(fd, buf, len); });
}

int posix_openpt(int flags)
{
    const auto text = [&] {
        return std::string("posix_openpt") + ((flags & O_ACCMODE) == O_RDWR ? " O_RDWR" : "") +
               ((flags & O_NOCTTY) != 0 ? " O_NOCTTY" : "");
    };
    return watched(text, [&] { return own<int(int)>("posix_openpt")(flags); });
}

int grantpt(int fd) noexcept
{
    return watched([] { return "grantpt"; }, [&] { return own<int(int)>("grantpt")(fd); });
}

int unlockpt(int fd) noexcept
{
    return watched([] { return "unlockpt"; }, [&] { return own<int(int)>("unlockpt")(fd); });
}

/** Its result is the error itself. */
int ptsname_r(int fd, char* buf, size_t len) noexcept
{
    const int result =
        watched([] { return "ptsname_r"; }, [&] { return own<int(int, char*, size_t)>("ptsname_r")(fd, buf, len); });
    return result < 0 ? errno : result;
}

int cfsetospeed(termios* line, speed_t speed) noexcept
{
    return watched([] { return "cfsetospeed"; },
                   [&] { return own<int(termios*, speed_t)>("cfsetospeed")(line, speed); });
}

int cfsetispeed(termios* line, speed_t speed) noexcept
{
    return watched([] { return "cfsetispeed"; },
                   [&] { return own<int(termios*, speed_t)>("cfsetispeed")(line, speed); });
}
}

#pragma GCC visibility pop
