/** The calls that stand in the C library's place; they end in it. */
#include "tests/support/interposed_calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace kt::tests {

namespace {

thread_local call_watcher* watcher = nullptr;

/** The C library's own function of this name. */
template <typename Function>
Function* own(const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<Function*>(found);
}

/** Shows a call to the watcher and either lets it fail or makes it. */
template <typename Describe, typename Call>
auto watched(Describe describe, Call call) -> decltype(call())
{
    call_watcher* const here = std::exchange(watcher, nullptr);
    if (here == nullptr)
        return call();
    const c_call made = describe();
    if (const int cause = here->begins(made); cause != 0) {
        watcher = here;
        errno = cause;
        return -1;
    }
    const auto result = call();
    const int left = errno;
    here->ended(made, static_cast<int>(result));
    watcher = here;
    errno = left;
    return result;
}

} // namespace

call_watcher::call_watcher()
{
    watcher = this;
}

call_watcher::~call_watcher()
{
    watcher = nullptr;
}

void call_watcher::stop()
{
    watcher = nullptr;
}

} // namespace kt::tests

using kt::tests::c_call;
using kt::tests::own;
using kt::tests::watched;

#pragma GCC visibility push(default) // the library's references must find them

extern "C" {

int close(int fd)
{
    return watched([&] { return c_call{.name = "close", .fd = fd}; },
                   [&] { return own<decltype(close)>("close")(fd); });
}

int select(int count, fd_set* reading, fd_set* writing, fd_set* excepting, timeval* timeout)
{
    const auto described = [&] {
        return c_call{.name = "select",
                      .sets = std::string(reading != nullptr ? "r" : "") + (writing != nullptr ? "w" : "") +
                              (excepting != nullptr ? "e" : "")};
    };
    return watched(described,
                   [&] { return own<decltype(select)>("select")(count, reading, writing, excepting, timeout); });
}

// With a file offset of 64 bits the header gives these the names "open64" and "fcntl64".
int open(const char* path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
    va_end(more);
    const auto described = [&] { return c_call{.name = "open", .path = path, .flags = flags}; };
    return watched(described, [&] { return own<int(const char*, int, ...)>("open64")(path, flags, mode); });
}

int fcntl(int fd, int command, ...)
{
    va_list more;
    va_start(more, command);
    void* const argument = va_arg(more, void*);
    va_end(more);
    const auto described = [&] {
        const int flags = command == F_SETFL ? static_cast<int>(reinterpret_cast<std::intptr_t>(argument)) : 0;
        return c_call{.name = "fcntl", .fd = fd, .flags = flags, .command = command};
    };
    return watched(described, [&] { return own<int(int, int, ...)>("fcntl64")(fd, command, argument); });
}

ssize_t read(int fd, void* buf, size_t len)
{
    return watched([&] { return c_call{.name = "read", .fd = fd, .size = len}; },
                   [&] { return own<decltype(read)>("read")(fd, buf, len); });
}

ssize_t write(int fd, const void* buf, size_t len)
{
    return watched([&] { return c_call{.name = "write", .fd = fd, .size = len}; },
                   [&] { return own<decltype(write)>("write")(fd, buf, len); });
}

int posix_openpt(int flags)
{
    const auto described = [&] { return c_call{.name = "posix_openpt", .flags = flags}; };
    return watched(described, [&] { return own<int(int)>("posix_openpt")(flags); });
}

int grantpt(int fd) noexcept
{
    return watched([&] { return c_call{.name = "grantpt", .fd = fd}; }, [&] { return own<int(int)>("grantpt")(fd); });
}

int unlockpt(int fd) noexcept
{
    return watched([&] { return c_call{.name = "unlockpt", .fd = fd}; }, [&] { return own<int(int)>("unlockpt")(fd); });
}

/** Its result is the error itself. */
int ptsname_r(int fd, char* buf, size_t len) noexcept
{
    const int result = watched([&] { return c_call{.name = "ptsname_r", .fd = fd}; },
                               [&] { return own<int(int, char*, size_t)>("ptsname_r")(fd, buf, len); });
    return result < 0 ? errno : result;
}

int cfsetospeed(termios* line, speed_t speed) noexcept
{
    return watched([] { return c_call{.name = "cfsetospeed"}; },
                   [&] { return own<int(termios*, speed_t)>("cfsetospeed")(line, speed); });
}

int cfsetispeed(termios* line, speed_t speed) noexcept
{
    return watched([] { return c_call{.name = "cfsetispeed"}; },
                   [&] { return own<int(termios*, speed_t)>("cfsetispeed")(line, speed); });
}
}

#pragma GCC visibility pop
