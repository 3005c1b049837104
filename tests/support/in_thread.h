/** A call that may wait, on a thread of its own, and signals to interrupt it. */
#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <pthread.h>
#include <thread>

namespace kt::tests {

/** Runs a call; its end must come before the object's own. */
template <typename Result>
class in_thread {
public:
    template <typename Call>
    explicit in_thread(Call call)
    {
        std::packaged_task<Result()> task(call);
        result_ = task.get_future();
        thread_ = std::thread(std::move(task));
    }
    ~in_thread() { thread_.join(); }
    in_thread(const in_thread&) = delete;
    in_thread& operator=(const in_thread&) = delete;

    bool ends_within(std::chrono::milliseconds time) const
    {
        return result_.wait_for(time) == std::future_status::ready;
    }

    Result result() { return result_.get(); }

    void interrupt() { pthread_kill(thread_.native_handle(), SIGUSR1); }

private:
    std::future<Result> result_;
    std::thread thread_;
};

/** SIGUSR1 ends the call that it meets with EINTR. */
inline void let_signals_interrupt()
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
}

} // namespace kt::tests
