/** Ownership of one file descriptor. */
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

/** Closes its descriptor at the end of its life, without disturbing errno. */
class descriptor {
public:
    descriptor() = default;
    explicit descriptor(int fd) : fd_(fd) {}
    descriptor(descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~descriptor() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset()
    {
        const int cause = errno;
        if (fd_ >= 0)
            close(std::exchange(fd_, -1));
        errno = cause;
    }

private:
    int fd_ = -1;
};

} // namespace kt::terminal
