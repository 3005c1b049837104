/** The board's sleep: who waits for it to end, and what ends it. */
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace kt::terminal {

class board;

/** The sleep as it stands. */
struct suspend_state {
    bool asleep = false;
    std::uint32_t wakeup_count = 0;
    bool pending = false;                           /**< A wake-up event has not ended. */
    std::optional<int> event;                       /**< What the board woke up by last. */
    bool fast = false;                              /**< Sleeping time is skipped. */
    std::optional<std::chrono::milliseconds> timer; /**< Until the wake-up timer fires; nothing: it is not armed. */
    std::chrono::milliseconds slept{0};             /**< All time asleep, skipped time included. */
};

/**
 * The driver behind /sys/power and the misc device's wake-up timer. A write of "mem" or "freeze" to "state" returns
 * when the board has woken up: with its count after a wake-up event, which kt_pm_event shows by then; with EINTR after
 * a signal, which is no event; with EBUSY at once when the handshake over "wakeup_count" does not hold any more. A
 * second write waits until the first has ended. Threads: any.
 */
class suspend {
public:
    /** Puts its guards on the attributes that the board has, and hears of its wake-ups. The board lives longer. */
    explicit suspend(board& on);
    ~suspend();
    suspend(const suspend&) = delete;
    suspend& operator=(const suspend&) = delete;

    suspend_state state() const;

    /** Wakes the board; while it is awake the event is only counted. True: it was asleep. */
    bool wake(int source);

    /** From now on the time to the wake-up timer is skipped instead of slept, and the board's clock is set on by it. */
    void set_fast(bool fast);

    /** A wake-up event is pending for this time from now, instead of the one before; 0 ends it. */
    void stay_pending(std::chrono::milliseconds time);

    /** Ends what waits, with EIO; nothing of the board is touched any more. */
    void stop();

private:
    struct parts;
    const std::shared_ptr<parts> parts_;
};

/** Gives a board its sleep, once its attributes are there. It ends with what is returned, before the file system that
 * serves the program. */
[[nodiscard]] std::shared_ptr<suspend> know_suspend(board& known);

/** The sleep of a board; null: it was given none. */
std::shared_ptr<suspend> suspend_of(const board& searched);

} // namespace kt::terminal
