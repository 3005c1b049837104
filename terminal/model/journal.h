/** The event journal: everything the program did to the board, in order, to read and to wait on. */
#pragma once

#include "terminal/model/event.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace kt::terminal {

/** Threads: any, at any time. */
class journal {
public:
    /** Delivers one event that has already happened but was not seen yet (a waiting syslog line), or nothing. */
    using source = std::function<std::optional<event>()>;
    using match = std::function<bool(const event&)>;

    /** The newest events that are kept; older ones are dropped. */
    static constexpr std::size_t capacity = 100'000;
    /** And the bytes that programs read and wrote in them, so that a long copy does not fill the desk's memory. */
    static constexpr std::size_t byte_capacity = std::size_t{64} << 20;

    journal();

    /** Asked before every append and every reading, so that its events stand where they happened. Set before use. */
    void set_source(source waiting);

    /** Called with every event in order, under the journal's lock (the log file). Set before use. */
    void set_listener(std::function<void(const event&)> listener);

    /** Called with each event too, to wake a loop that waits on more than the journal; under its lock. At any time. */
    void set_notice(std::function<void()> notice);

    /** Adds an event, gives it number and time, wakes who waits; returns its number. */
    std::uint64_t append(event happened);

    /** Takes in what the source holds and wakes who waits for it: said by the one who sees that something came. */
    void poke();

    /** The events numbered @p first and higher that are still kept, the @p most oldest of them. */
    std::vector<event> from(std::uint64_t first, std::size_t most = capacity);

    /** The number of the newest event, 0 when there is none. */
    std::uint64_t newest();

    /** The first event after number @p after that fits; waits for one at most @p timeout, or until close(). */
    std::optional<event> wait(std::uint64_t after, const match& fits, std::chrono::milliseconds timeout);

    /** The first kept event after number @p after that fits; does not wait. @p after moves to the last event looked at.
     */
    std::optional<event> find(std::uint64_t& after, const match& fits);

    /** Ends every wait, now and later. */
    void close();

private:
    // All with the lock held.
    void drain();
    void add(event&& happened);
    std::optional<event> find_kept(std::uint64_t& after, const match& fits) const;
    std::size_t place_of(std::uint64_t number) const;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::chrono::steady_clock::time_point start_;
    std::deque<event> events_;
    std::size_t bytes_ = 0;
    std::uint64_t newest_ = 0;
    source source_;
    std::function<void(const event&)> listener_;
    std::function<void()> notice_;
    bool closed_ = false;
};

} // namespace kt::terminal
