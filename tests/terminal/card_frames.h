/** Frames and answers of virtual cards as text, so that a dialogue with one is a table. */
#pragma once

#include "terminal/cards/card.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

/** Blanks are passed over; a test whose digits are no pairs of hexadecimal digits fails. */
inline std::string bytes_of_digits(std::string_view digits)
{
    std::string plain(digits);
    std::erase(plain, ' ');
    if (plain.size() % 2 != 0 || plain.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) {
        ADD_FAILURE() << "no pairs of hexadecimal digits: \"" << digits << '"';
        return {};
    }
    std::string bytes;
    for (std::size_t i = 0; i < plain.size(); i += 2)
        bytes += static_cast<char>(std::stoi(plain.substr(i, 2), nullptr, 16));
    return bytes;
}

inline std::string digits_of_bytes(std::string_view bytes)
{
    std::string digits;
    for (const char c : bytes) {
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(c) >> 4];
        digits += "0123456789ABCDEF"[static_cast<unsigned char>(c) & 0xF];
    }
    return digits;
}

/** Digits of the bytes, "ack", "nak 4", "silence". */
inline std::string text_of(const terminal::card_answer& answer)
{
    using enum terminal::card_answer::form;
    if (answer.is == bytes)
        return digits_of_bytes(answer.bytes);
    if (answer.is == silence)
        return "silence";
    return answer.is_acknowledgement() ? "ack" : "nak " + std::to_string(answer.bits);
}

/** What a card says to a frame; "later": it has not answered yet. */
inline std::string answer_of(terminal::card& card, std::string_view frame)
{
    const auto told = std::make_shared<std::vector<std::string>>(); // also when the card answers later
    card.exchange(bytes_of_digits(frame),
                  [told](const terminal::card_answer& answer) { told->push_back(text_of(answer)); });
    if (told->size() > 1)
        return std::to_string(told->size()) + " answers";
    return told->empty() ? "later" : told->front();
}

/** A frame and its answer; "select" gives power anew, "tear FRAME" takes it away during the frame. */
struct said {
    std::string frame;
    std::string answer{};
};

/** Each frame in turn to one card; an answer may be written with blanks between its digits. */
inline void expect_dialogue(terminal::card& card, const std::vector<said>& rows, const std::string& about = {})
{
    for (const said& row : rows) {
        if (row.frame == "select") {
            card.power_up();
        } else if (row.frame.starts_with("tear ")) {
            card.lose_power_during(bytes_of_digits(row.frame.substr(5)));
        } else {
            std::string wanted = row.answer;
            const bool word = wanted == "ack" || wanted == "silence" || wanted == "later" || wanted.starts_with("nak ");
            if (!word)
                wanted = digits_of_bytes(bytes_of_digits(wanted));
            EXPECT_EQ(answer_of(card, row.frame), wanted) << about << " frame " << row.frame;
        }
    }
}

/** The rows of "30 00 > 0102; select; tear 30 00". */
inline std::vector<said> rows_of(std::string_view text)
{
    const auto trimmed = [](std::string_view part) {
        const auto from = part.find_first_not_of(' ');
        return std::string(from == part.npos ? "" : part.substr(from, part.find_last_not_of(' ') + 1 - from));
    };
    std::vector<said> rows;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const auto mark = line.find('>');
        said row{trimmed(line.substr(0, mark))};
        if (mark != line.npos)
            row.answer = trimmed(line.substr(mark + 1));
        else if (row.frame != "select" && !row.frame.starts_with("tear "))
            ADD_FAILURE() << "no row of a dialogue: " << line;
        rows.push_back(std::move(row));
    }
    return rows;
}

/** A card that is selected. */
inline terminal::card_ptr selected_card(std::string_view file)
{
    terminal::card_ptr card = terminal::card_of_file(file);
    card->power_up();
    return card;
}

/** The text of a sample's file. */
inline std::string sample(const std::string& name)
{
    std::ifstream in(std::string(KT_CARD_SAMPLES "/") + name + ".json");
    EXPECT_TRUE(in) << name;
    return {std::istreambuf_iterator<char>(in), {}};
}

/** The sentence with which a file is refused; "accepted" when it is not. */
inline std::string refusal_of(std::string_view text)
{
    try {
        (void)terminal::card_of_file(text);
        return "accepted";
    } catch (const std::invalid_argument& refused) {
        return refused.what();
    }
}

} // namespace kt::tests
