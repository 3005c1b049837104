/** From the numbers the kernel gives the server to those that the program itself knows. */
#pragma once

#include "terminal/model/request.h"

#include <chrono>
#include <mutex>
#include <sys/types.h>
#include <unordered_map>

namespace kt::terminal {

/** Threads: any. */
class callers {
public:
    /** @p thread is a thread of the program, by the desk's number. */
    caller known_as(pid_t thread);

private:
    struct entry {
        caller inner;
        std::chrono::steady_clock::time_point read;
    };

    std::mutex mutex_;
    std::unordered_map<pid_t, entry> entries_;
};

} // namespace kt::terminal
