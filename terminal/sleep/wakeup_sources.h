/** What keeps a board awake, counted as the kernel counts it: events, wake locks, and the handshake before a sleep. */
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace kt::terminal {

/**
 * An event that takes time (a wake lock, one that a person's command holds) is pending while it lasts and counted when
 * it ends, so a count that was read before it began is stale in any case. Threads: one at a time.
 */
class wakeup_sources {
public:
    using time_point = std::chrono::steady_clock::time_point;

    std::uint32_t count() const { return count_; }
    void set_count(std::uint32_t count) { count_ = count; }
    bool pending() const;

    /** An event that is over at once. */
    void add_event() { ++count_; }

    /** A name that is new when more than so many are known is refused, as by the kernel. */
    static constexpr std::size_t many = 100;

    /** Takes a wake lock, for good or until a time; a lock that has a time keeps the later one. False: too many. */
    bool lock(const std::string& name, std::optional<time_point> until);
    /** Lets go of a wake lock. False: there was never one of this name. */
    bool unlock(const std::string& name);
    /** The names of the locks that are held, or of those that are not: sorted, with blanks between and a line feed. */
    std::string lock_names(bool held) const;

    /** An event that is pending until a time, instead of the one before; the time may be over already. */
    void hold_until(time_point until);

    /** Ends what has a time that is over. */
    void end_due(time_point now);
    /** When the next of these comes. */
    std::optional<time_point> next_end() const;

    /** The handshake: from a count that is right, with nothing pending, to the next attempt to sleep. False: refused,
     * and no handshake stands. */
    bool save(std::uint32_t count);
    /** An attempt to sleep, which uses the handshake up. True: something came since, or is pending: no sleep. */
    bool refuses_sleep();

private:
    struct source {
        bool active = false;
        std::optional<time_point> until;
    };
    void end(source& ended);

    std::uint32_t count_ = 0;
    std::map<std::string, source> locks_;
    source held_;
    std::optional<std::uint32_t> saved_; // while the handshake stands
};

} // namespace kt::terminal
