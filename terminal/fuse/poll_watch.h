/** Who polls an open file, and the kernel's handle by which it is woken. */
#pragma once

#define FUSE_USE_VERSION 35

#include <fuse3/fuse_lowlevel.h>
#include <mutex>
#include <utility>

namespace kt::terminal {

/** Keeps the newest handle of one open. Threads: any. */
class poll_watch {
public:
    poll_watch() = default;
    ~poll_watch() { stop(); }
    poll_watch(const poll_watch&) = delete;
    poll_watch& operator=(const poll_watch&) = delete;

    /** Owns @p newest from now on, in the place of the one before. */
    void keep(fuse_pollhandle* newest)
    {
        const std::lock_guard lock(mutex_);
        drop();
        handle_ = newest;
    }

    /** The answer may have become another: the kernel asks again. */
    void tell()
    {
        const std::lock_guard lock(mutex_); // serving must not end meanwhile; the kernel only marks and wakes
        if (handle_ != nullptr)
            (void)fuse_lowlevel_notify_poll(handle_);
        drop();
    }

    /** Nobody is told any more. */
    void stop()
    {
        const std::lock_guard lock(mutex_);
        drop();
    }

private:
    void drop()
    {
        if (handle_ != nullptr)
            fuse_pollhandle_destroy(std::exchange(handle_, nullptr));
    }

    std::mutex mutex_;
    fuse_pollhandle* handle_ = nullptr;
};

} // namespace kt::terminal
