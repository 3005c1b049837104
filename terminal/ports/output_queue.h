/** What the program has written and the line has not sent yet, after the output flags' rules. */
#pragma once

#include "terminal/ports/settings.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace kt::terminal {

/** Bytes as they leave; @p room at most. Returns how many of @p written are in them. */
std::size_t process_output(std::string_view written, const struct termios2& set, std::size_t room,
                           std::string& leaving);

/** Threads: one at a time. */
class output_queue {
public:
    static constexpr std::size_t capacity = 4096;

    /** Returns how many of @p written it took. */
    std::size_t put(std::string_view written, const struct termios2& set)
    {
        return process_output(written, set, bytes_.size() < capacity ? capacity - bytes_.size() : 0, bytes_);
    }

    /** A control character of the line's own goes before all others. */
    void put_first(char byte) { bytes_.insert(bytes_.begin(), byte); }

    std::string take_all() { return std::exchange(bytes_, {}); }
    void clear() { bytes_.clear(); }
    std::size_t size() const { return bytes_.size(); }

    /** What poll(2) calls room. */
    bool has_room() const { return bytes_.size() < 256; }

private:
    std::string bytes_;
};

} // namespace kt::terminal
