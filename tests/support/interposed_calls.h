/** The C library's calls as the library makes them: a watcher sees each, and may let it fail or do something before. */
#pragma once

#include <cstddef>
#include <string>

namespace kt::tests {

/** One call; what its function has no argument for is as it stands here. */
struct c_call {
    std::string name;
    int fd = -1;
    const char* path = nullptr;
    int flags = 0;   /**< Of open and posix_openpt, and what fcntl's F_SETFL sets. */
    int command = 0; /**< fcntl's. */
    std::size_t size = 0;
    std::string sets{}; /**< Those that select was given: "r", "rwe". */
};

/**
 * Sees this thread's calls of open, close, select, fcntl, read, write, of the pseudo-terminal functions and of those
 * that set a speed, from construction to stop(). A program that uses it has interposed_calls.cpp among its sources, and
 * with it these calls in the place of the C library's. What a watcher itself calls is not watched.
 */
class call_watcher {
public:
    call_watcher();
    virtual ~call_watcher();
    call_watcher(const call_watcher&) = delete;
    call_watcher& operator=(const call_watcher&) = delete;

    /** Directly before a call: what it shall fail with instead of being made, or 0. */
    virtual int begins(const c_call& call) = 0;
    /** Directly after a call that was made. */
    virtual void ended(const c_call&, int /*result*/) {}

protected:
    static void stop();
};

} // namespace kt::tests
