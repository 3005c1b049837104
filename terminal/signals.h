/** What signals do to a running terminal. */
#pragma once

#include <functional>
#include <signal.h>
#include <thread>

namespace kt::terminal {

/**
 * While it lives: SIGINT and SIGQUIT are left to the program, which gets them from the keyboard too; SIGTERM and SIGHUP
 * end the program; SIGPIPE only makes writes fail. One at a time. Programs that are started meanwhile find all of them
 * as they were: a handler does not outlive exec, and what was ignored stays ignored.
 */
class signals {
public:
    /** @p end is called from a thread of its own. */
    explicit signals(std::function<void()> end);
    ~signals();
    signals(const signals&) = delete;
    signals& operator=(const signals&) = delete;

private:
    static constexpr int handled[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE};

    struct sigaction before_[5];
    std::thread waiter_;
};

} // namespace kt::terminal
