// The owner of one file descriptor.
#pragma once

#include "base/failure.h"

#include <unistd.h>

namespace kt {

/** Closes its descriptor, and leaves errno as it was: a failed call's cause is reported after the descriptor is gone.
 */
class unique_fd {
public:
    explicit unique_fd(int fd) : fd_(fd) {}
    unique_fd(const unique_fd&) = delete;
    unique_fd& operator=(const unique_fd&) = delete;
    ~unique_fd()
    {
        if (fd_ < 0)
            return;
        const errno_keeper keeper;
        (void)close(fd_);
    }

    int get() const { return fd_; }

private:
    const int fd_;
};

} // namespace kt
