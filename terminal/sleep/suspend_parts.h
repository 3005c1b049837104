/** The sleep's state behind its class. */
#pragma once

#include "terminal/model/timers.h"
#include "terminal/sleep/outcome.h"
#include "terminal/sleep/suspend.h"
#include "terminal/sleep/wakeup_sources.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

namespace kt::terminal {

struct suspend::parts : std::enable_shared_from_this<suspend::parts> {
    struct sleeper {
        std::uint64_t number;
        request_ptr asked;
        std::string word;
        std::size_t taken;
    };
    struct reader {
        std::uint64_t number;
        request_ptr asked;
        attribute_guard::go_on show;
    };
    using writing = void (parts::*)(outcome&, request_ptr, const std::string&);

    explicit parts(board& on) : shown(on) {}

    void put_guards();
    attribute_guard guard_of(writing how);

    /** Runs @p work with the lock, then what came of it without. False: the board's sleep is at its end. */
    template <typename Work>
    bool turn(Work work)
    {
        outcome told;
        {
            const std::lock_guard lock(mutex);
            if (stopped)
                return false;
            take_over_count();
            work(told);
            show_all();
            tick_later();
            if (!sources.pending())
                for (; !readers.empty(); readers.pop_front())
                    told.go_on(std::move(readers.front().asked), std::move(readers.front().show));
            ++telling;
        }
        told.happen(shown);
        const std::lock_guard lock(mutex);
        --telling;
        all_told.notify_all();
        return true;
    }

    // All below with the lock. What programs ask (calls.cpp):
    void write_state(outcome& told, request_ptr asked, const std::string& written);
    void write_count(outcome& told, request_ptr asked, const std::string& written);
    void write_lock(outcome& told, request_ptr asked, const std::string& written);
    void write_unlock(outcome& told, request_ptr asked, const std::string& written);
    void read_count(request_ptr asked, attribute_guard::go_on on);
    std::uint64_t hear_of_signals(request& asked);
    void interrupted(outcome& told, std::uint64_t number);

    // What happens (waking.cpp):
    void arm(outcome& told, std::chrono::milliseconds time);
    bool happened(outcome& told, int source);
    void fall_asleep(outcome& told);
    void skip_to_timer(outcome& told);
    void wake_up(outcome& told, std::optional<int> source,
                 std::chrono::milliseconds skipped = std::chrono::milliseconds(0));
    void tick_later();
    void tick(outcome& told);

    // What the attributes show:
    void take_over_count();
    void show_all() const;
    void show(const char* path, const std::string& text) const;
    std::chrono::milliseconds time_asleep() const
    {
        return asleep ? std::chrono::duration_cast<std::chrono::milliseconds>(timers::clock::now() - fell_asleep)
                      : std::chrono::milliseconds(0);
    }

    static constexpr const char* count_path = "/sys/power/wakeup_count";
    static constexpr const char* lock_path = "/sys/power/wake_lock";
    static constexpr const char* unlock_path = "/sys/power/wake_unlock";

    board& shown;
    std::mutex mutex;
    bool stopped = false;
    int telling = 0; // who is between the change and its answers; the end waits for them
    std::condition_variable all_told;
    wakeup_sources sources;
    std::uint64_t last_number = 0;
    std::deque<sleeper> sleepers; // while the board is asleep the first is who sleeps
    std::deque<reader> readers;
    bool asleep = false;
    timers::clock::time_point fell_asleep;
    std::chrono::milliseconds slept{0};
    bool fast = false;
    std::optional<int> last_event;
    std::optional<timers::clock::time_point> timer; // when it fires
    std::optional<timers::clock::time_point> due;   // of the next tick
};

} // namespace kt::terminal
