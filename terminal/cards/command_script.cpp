/** Reads a card's script and answers by it. */
#include "terminal/cards/command_script.h"

#include <charconv>
#include <limits>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

namespace {

constexpr char instruction_not_supported[] = {0x6D, 0x00};

std::optional<std::uint8_t> byte_of(std::string_view digits)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (error != std::errc() || digits.size() != 2 || end != digits.data() + 2)
        return std::nullopt;
    return static_cast<std::uint8_t>(value);
}

std::optional<std::string> optional_text(const card_file& file, const std::string& name)
{
    return file.has(name) ? std::optional(file.text(name, "")) : std::nullopt;
}

std::string given_bytes(const card_file& file, const std::string& name)
{
    auto bytes = file.bytes(name);
    if (!bytes)
        throw std::invalid_argument("each of a card's \"answers\" must have a \"" + name + "\"");
    return *std::move(bytes);
}

} // namespace

command_pattern::command_pattern(std::string text) : text_(std::move(text))
{
    for (std::string_view left = text_; !left.empty();) {
        if (any_rest_)
            throw std::invalid_argument("a card's \"command\" must end with its \"*\"");
        if (left.front() == ' ' || left.front() == '*') {
            any_rest_ = left.front() == '*';
            left.remove_prefix(1);
            continue;
        }
        const std::string_view pair = left.substr(0, 2);
        const auto byte = byte_of(pair);
        if (!byte && pair != "..")
            throw std::invalid_argument(
                "a card's \"command\" must be pairs of hexadecimal digits, or \"..\" for any byte");
        bytes_.push_back(byte);
        left.remove_prefix(2);
    }
    if (bytes_.empty() && !any_rest_)
        throw std::invalid_argument("each of a card's \"answers\" must have a \"command\"");
}

bool command_pattern::matches(std::string_view command) const
{
    if (any_rest_ ? command.size() < bytes_.size() : command.size() != bytes_.size())
        return false;
    for (std::size_t i = 0; i < bytes_.size(); i++)
        if (bytes_[i] && *bytes_[i] != static_cast<std::uint8_t>(command[i]))
            return false;
    return true;
}

command_script::row::row(const card_file& file)
    : command(file.text("command", "")),
      answer(given_bytes(file, "answer")),
      state(optional_text(file, "state")),
      then(optional_text(file, "then"))
{
    if (file.has("times"))
        times = file.number("times", 0, std::numeric_limits<std::uint32_t>::max());
    file.all_known();
}

bool command_script::row::fits(std::string_view given, const std::string& now) const
{
    return times != 0U && (!state || *state == now) && command.matches(given);
}

card_file command_script::row::file() const
{
    card_file written;
    written.put("command", command.text()).put_bytes("answer", answer);
    if (times)
        written.put_number("times", *times);
    if (state)
        written.put("state", *state);
    if (then)
        written.put("then", *then);
    return written;
}

command_script::command_script(const card_file& file)
    : otherwise_(
          file.bytes("otherwise").value_or(std::string(instruction_not_supported, sizeof instruction_not_supported)))
{
    for (const card_file& each : file.list("answers"))
        rows_.emplace_back(each);
}

std::string command_script::answer(std::string_view command)
{
    for (row& each : rows_) {
        if (!each.fits(command, state_))
            continue;
        if (each.times)
            each.times = *each.times - 1;
        if (each.then)
            state_ = *each.then;
        return each.answer;
    }
    return otherwise_;
}

void command_script::put(card_file& into) const
{
    std::vector<card_file> rows;
    for (const row& each : rows_)
        rows.push_back(each.file());
    into.put_list("answers", rows).put_bytes("otherwise", otherwise_);
}

} // namespace kt::terminal
