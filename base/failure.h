// How a function of the flat interface reports failure: refusals, allocation failures and an errno that lasts.
#pragma once

#include <cerrno>
#include <new>

namespace kt {

/** Sets errno and gives the result of a failed call. */
inline int refuse(int cause)
{
    errno = cause;
    return -1;
}

/** Keeps errno over what its scope does after a failure: printing, closing. */
class errno_keeper {
public:
    errno_keeper() = default;
    errno_keeper(const errno_keeper&) = delete;
    errno_keeper& operator=(const errno_keeper&) = delete;
    ~errno_keeper() { errno = cause_; }

private:
    int cause_ = errno;
};

/** Runs a step whose only exception is a failed allocation; that one becomes -1 with ENOMEM. */
template <typename Step>
int enomem_on_bad_alloc(Step step)
{
    try {
        return step();
    } catch (const std::bad_alloc&) {
        return refuse(ENOMEM);
    }
}

} // namespace kt
