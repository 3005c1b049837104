/** What signals do to a running terminal. */
#pragma once

#include "terminal/descriptor.h"

#include <functional>
#include <signal.h>
#include <thread>

namespace kt::terminal {

/**
 * While it lives: SIGINT and SIGQUIT are left to the program, which gets them from the keyboard too; SIGTERM and SIGHUP
 * end the program, unless they were ignored; SIGPIPE only makes writes fail. One at a time, made before any thread that
 * does not block signals itself. Programs that are started meanwhile must be given a signal mask without these two.
 */
class signals {
public:
    /** @p end is called from a thread of its own. */
    explicit signals(std::function<void()> end);
    ~signals();
    signals(const signals&) = delete;
    signals& operator=(const signals&) = delete;

private:
    static constexpr int left_alone[] = {SIGINT, SIGQUIT, SIGPIPE};

    struct sigaction before_[3];
    sigset_t mask_before_;
    descriptor leave_;
    std::thread waiter_;
};

} // namespace kt::terminal
