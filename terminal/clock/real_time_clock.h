/** The clock that runs on its own battery, as the kernel's device for it. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/node.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string_view>

namespace kt::terminal {

/** A device that keeps whole seconds. Threads: any. */
class real_time_clock : public node {
public:
    /** Starts with the board's time. The board lives longer. */
    explicit real_time_clock(board& on);

    bool is_device() const override { return true; }
    result<std::unique_ptr<open_file>> open(int flags) override;

    /** Seconds since 1970, UTC. */
    std::chrono::seconds time() const;
    void set(std::chrono::seconds to);

private:
    class opened;
    std::chrono::nanoseconds ticks() const;

    board& board_;
    mutable std::mutex mutex_;
    std::chrono::seconds set_to_{0};     // whole ones: nanoseconds end in the year 2262, the kernel's records do not
    std::chrono::nanoseconds set_at_{0}; // by the ticks
};

/** Makes the kind "rtc" known to a board; it has no options. */
void know_real_time_clock(board& known);

/** The clock at a path; null: there is none. */
std::shared_ptr<real_time_clock> real_time_clock_at(const board& searched, std::string_view path = "/dev/rtc0");

} // namespace kt::terminal
