/** Words and numbers of /sys/power. */
#include "terminal/sleep/written_words.h"

#include <algorithm>
#include <charconv>

namespace kt::terminal {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";

bool is_digit(char each)
{
    return each >= '0' && each <= '9';
}

std::string_view without_blanks(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text;
}

/** A number and nothing else but one line feed at its end. */
std::optional<std::uint64_t> whole_number(std::string_view text)
{
    if (text.ends_with('\n'))
        text.remove_suffix(1);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace

std::optional<std::string> sleep_word(std::string_view written)
{
    const std::string_view word = written.substr(0, written.find('\n'));
    if (word != "mem" && word != "freeze")
        return std::nullopt;
    return std::string(word);
}

std::optional<std::uint32_t> leading_count(std::string_view written)
{
    const std::string_view text = without_blanks(written);
    if (text.empty() || !is_digit(text[0]))
        return std::nullopt;
    std::uint32_t count = 0;
    for (const char* each = text.begin(); each != text.end() && is_digit(*each); ++each)
        count = count * 10 + static_cast<std::uint32_t>(*each - '0');
    return count;
}

std::optional<wake_lock_words> wake_lock_in(std::string_view written)
{
    const std::size_t length = std::min(written.find_first_of(blanks), written.size());
    if (length == 0)
        return std::nullopt;
    wake_lock_words said{std::string(written.substr(0, length)), std::nullopt};
    const std::string_view behind = written.substr(length);
    if (behind.empty() || behind[0] == '\n')
        return said;
    const auto nanoseconds = whole_number(without_blanks(behind));
    if (!nanoseconds)
        return std::nullopt;
    constexpr std::uint64_t in_a_ms = 1'000'000;
    constexpr std::uint64_t year_ms = std::uint64_t{365} * 24 * 3600 * 1000;
    if (*nanoseconds != 0)
        said.time = std::chrono::milliseconds(
            std::min(*nanoseconds / in_a_ms + (*nanoseconds % in_a_ms != 0 ? 1 : 0), year_ms));
    return said;
}

std::optional<std::string> wake_unlock_in(std::string_view written)
{
    if (written.ends_with('\n'))
        written.remove_suffix(1);
    if (written.empty())
        return std::nullopt;
    return std::string(written);
}

} // namespace kt::terminal
