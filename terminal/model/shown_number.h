/** The number that an attribute's text begins with, whoever wrote the text. */
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

namespace kt::terminal {

/** Blanks before it are skipped and all behind it ignored; 0 when there is none, and the nearest one of those that are
 * too large. */
inline std::int64_t shown_number(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t\n\v\f\r");
    text.remove_prefix(first == std::string_view::npos ? text.size() : first);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    std::int64_t value = 0;
    using limits = std::numeric_limits<std::int64_t>;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range)
        return text.starts_with('-') ? limits::min() : limits::max();
    return value;
}

} // namespace kt::terminal
