/** The program's calls that wait for an answer, so that none outlives the session they came by. */
#pragma once

#define FUSE_USE_VERSION 35

#include <condition_variable>
#include <fuse3/fuse_lowlevel.h>
#include <mutex>
#include <unordered_set>

namespace kt::terminal {

/** A call that can be ended from here. */
class unanswered_call {
public:
    virtual ~unanswered_call() = default;

    /** Answers with EIO; called once, when nobody else can answer any more. */
    virtual void give_up() = 0;
};

/**
 * Of everybody who wants to answer one call exactly one may, and serving does not end in the middle of an answer.
 * Threads: any.
 */
class unanswered {
public:
    void add(unanswered_call& waiting);

    /** True: the caller is the one who answers, and says so with answered() afterwards. */
    bool take(unanswered_call& waiting);
    void answered();

    /** Does something to a call that is not answered yet, and is not answered meanwhile. */
    template <typename Work>
    void with(unanswered_call& waiting, Work work)
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.contains(&waiting))
            work();
    }

    /** Gives up all calls, and waits for answers that are on their way. */
    void end();

private:
    std::mutex mutex_;
    std::condition_variable all_answered_;
    std::unordered_set<unanswered_call*> waiting_;
    int answering_ = 0;
};

} // namespace kt::terminal
