/** A card's answers from a list of commands, as they stand in its file. */
#pragma once

#include "terminal/cards/card_file.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** Which commands a row answers: pairs of digits, ".." for any byte, a closing "*" for any rest. */
class command_pattern {
public:
    /** Throws std::invalid_argument. */
    explicit command_pattern(std::string text);

    bool matches(std::string_view command) const;
    const std::string& text() const { return text_; }

private:
    std::string text_;
    std::vector<std::optional<std::uint8_t>> bytes_{};
    bool any_rest_ = false;
};

/** Threads: one at a time. */
class command_script {
public:
    /** Reads "answers" and "otherwise". Throws as card_file does. */
    explicit command_script(const card_file& file);

    /** By the first row that fits the command and the state and is not used up. No byte: the card is silent. */
    std::string answer(std::string_view command);

    /** Forgets the state, not how often rows have answered. */
    void power_up() { state_.clear(); }

    void put(card_file& into) const;

private:
    struct row {
        explicit row(const card_file& file);
        bool fits(std::string_view given, const std::string& now) const;
        card_file file() const;

        command_pattern command;
        std::string answer;
        std::optional<std::uint32_t> times{};
        std::optional<std::string> state{};
        std::optional<std::string> then{};
    };

    std::vector<row> rows_{};
    std::string otherwise_{};
    std::string state_{};
};

} // namespace kt::terminal
