// Waiting for a descriptor, then one read or write.
#include "base/failure.h"
#include "kt_driver/tty.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

namespace {

/** A descriptor that does not block while this lives; errno stays what the call in between left. */
class non_blocking {
public:
    explicit non_blocking(int fd) : fd_(fd) { (void)record_and_set_non_blocking_mode(fd, &flags_); }
    non_blocking(const non_blocking&) = delete;
    non_blocking& operator=(const non_blocking&) = delete;
    ~non_blocking()
    {
        const kt::errno_keeper keeper;
        restore_non_blocking_mode(fd_, flags_);
    }

private:
    const int fd_;
    int flags_ = -1;
};

} // namespace

int kt_handle_ready(int fd, int want_read, int want_write, int want_except, struct timeval* timeout)
{
    if (fd < 0)
        return kt::refuse(EBADF);
    if (fd >= FD_SETSIZE)
        return kt::refuse(EINVAL); // the set has no place for it

    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(fd, &ready);
    int count = 0;
    do {
        count = select(fd + 1, want_read != 0 ? &ready : nullptr, want_write != 0 ? &ready : nullptr,
                       want_except != 0 ? &ready : nullptr, timeout);
    } while (count < 0 && errno == EINTR); // the kernel leaves the set alone then, and counts the time down
    return count == 0 ? kt::refuse(ETIME) : count;
}

int kt_read_timeout(int fd, void* buf, unsigned len, struct timeval* timeout)
{
    if (buf == nullptr && len != 0)
        return kt::refuse(EINVAL);
    if (timeout == nullptr)
        return static_cast<int>(read(fd, buf, len));
    if (kt_handle_ready(fd, 1, 0, 0, timeout) < 0)
        return -1;
    const non_blocking meanwhile(fd);
    return static_cast<int>(read(fd, buf, len));
}

int kt_write_timeout(int fd, const void* buf, unsigned len, struct timeval* timeout)
{
    if (buf == nullptr && len != 0)
        return kt::refuse(EINVAL);
    if (timeout == nullptr)
        return static_cast<int>(write(fd, buf, len));
    if (kt_handle_ready(fd, 0, 1, 0, timeout) < 0)
        return -1;
    const non_blocking meanwhile(fd);
    return static_cast<int>(write(fd, buf, len));
}

int record_and_set_non_blocking_mode(int fd, int* saved_flags)
{
    if (saved_flags == nullptr)
        return kt::refuse(EINVAL);
    *saved_flags = fcntl(fd, F_GETFL);
    if ((*saved_flags & O_NONBLOCK) != 0) // so are all bits of -1
        return *saved_flags;
    return fcntl(fd, F_SETFL, *saved_flags | O_NONBLOCK);
}

void restore_non_blocking_mode(int fd, int saved_flags)
{
    if ((saved_flags & O_NONBLOCK) == 0)
        (void)fcntl(fd, F_SETFL, saved_flags);
}
