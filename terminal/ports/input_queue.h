/** What the terminal's end has received and the program has not read yet, after the input flags' rules. */
#pragma once

#include "terminal/ports/settings.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace kt::terminal {

/** Threads: one at a time. */
class input_queue {
public:
    static constexpr std::size_t capacity = std::size_t{64} << 10;

    /** What a byte did besides, or instead of, being queued. */
    enum class effect { none, stop_output, start_output, flush, overrun };

    /** One byte that arrived well. */
    effect good(unsigned char byte, const struct termios2& set);

    /** One byte whose parity or stop bit was wrong. */
    effect bad(unsigned char byte, const struct termios2& set);

    effect line_break(const struct termios2& set);

    /** What a read finds now: at least one byte, or in line-wise mode one line. */
    bool readable(const struct termios2& set) const;

    /** The bytes that a read gets at most. */
    std::size_t waiting(const struct termios2& set) const;

    /** Takes at most @p size bytes; in line-wise mode of one line. */
    std::string take(std::size_t size, const struct termios2& set);

    void clear();

    /** The mode became line-wise: what waits is a line. Or it was left: lines end nowhere. */
    void became_line_wise();
    void left_line_wise();

private:
    effect put(std::string_view bytes);
    void end_line() { line_ends_.push_back(received_); }

    std::string bytes_; // those before start_ are taken already
    std::size_t start_ = 0;
    std::uint64_t received_ = 0; // all that were ever queued
    std::uint64_t taken_ = 0;
    std::deque<std::uint64_t> line_ends_; // in numbers of received_; an end of file is a line without its end
};

} // namespace kt::terminal
