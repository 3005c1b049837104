/** What programs write to the attributes of /sys/power, read as the kernel reads it. */
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** "mem" or "freeze" up to the first line feed; nothing for any other word. */
std::optional<std::string> sleep_word(std::string_view written);

/** The number that a text begins with, blanks before it skipped and all behind it ignored; wraps at 32 bits. */
std::optional<std::uint32_t> leading_count(std::string_view written);

/** "NAME" or "NAME NANOSECONDS". */
struct wake_lock_words {
    std::string name;
    std::optional<std::chrono::milliseconds> time; /**< Rounded up, at most a year. */
};
std::optional<wake_lock_words> wake_lock_in(std::string_view written);

/** The name to let go of: all but one line feed at the end; nothing for an empty one. */
std::optional<std::string> wake_unlock_in(std::string_view written);

} // namespace kt::terminal
