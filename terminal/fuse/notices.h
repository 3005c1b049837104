/** Tells the kernel which folders' names are gone, from a thread of its own. */
#pragma once

#include "terminal/fuse/gate.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace kt::terminal {

/**
 * The kernel takes the folder's lock for it, which a look-up that waits there holds: whoever took the name away must
 * not wait for that. Threads: any.
 */
class notices {
public:
    explicit notices(fuse_session* session) : session_(session) {}

    ~notices() { stop(); }
    notices(const notices&) = delete;
    notices& operator=(const notices&) = delete;

    /** Before the session ends, after all waiting calls were answered: nothing is told any more. */
    void stop();

    /** Returns when the kernel knows, or after a moment in which it is held by a waiting call: then it learns later. */
    void name_is_gone(std::uint64_t folder, std::string name);

private:
    struct notice {
        std::uint64_t folder;
        std::string name;
    };

    void work();

    fuse_session* session_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::condition_variable progress_;
    std::deque<notice> waiting_;
    std::uint64_t given_ = 0;
    std::uint64_t told_ = 0;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace kt::terminal
