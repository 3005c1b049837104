/** Who may answer. */
#include "terminal/fuse/unanswered.h"

namespace kt::terminal {

void unanswered::add(unanswered_call& waiting)
{
    const std::lock_guard lock(mutex_);
    waiting_.insert(&waiting);
}

bool unanswered::take(unanswered_call& waiting)
{
    const std::lock_guard lock(mutex_);
    if (waiting_.erase(&waiting) == 0)
        return false;
    ++answering_;
    return true;
}

void unanswered::answered()
{
    const std::lock_guard lock(mutex_);
    if (--answering_ == 0)
        all_answered_.notify_all();
}

void unanswered::end()
{
    std::unique_lock lock(mutex_);
    for (unanswered_call* each : waiting_)
        each->give_up(); // none of them can go meanwhile: it would have to be taken first
    waiting_.clear();
    all_answered_.wait(lock, [this] { return answering_ == 0; });
}

} // namespace kt::terminal
