/** Frames and answers of virtual cards as text, so that a dialogue with one is a table. */
#pragma once

#include "terminal/cards/card.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

inline std::string bytes_of_digits(std::string_view digits)
{
    std::string bytes;
    std::string pair;
    for (const char c : digits) {
        if (c != ' ')
            pair += c;
        if (pair.size() == 2) {
            bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    }
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

/** What a card says to a frame: digits of its bytes, "ack", "nak 4", "silence". */
inline std::string answer_of(terminal::card& card, std::string_view frame)
{
    std::vector<std::string> told;
    card.exchange(bytes_of_digits(frame), [&](const terminal::card_answer& answer) {
        using enum terminal::card_answer::form;
        told.push_back(answer.is == bytes            ? digits_of_bytes(answer.bytes)
                       : answer.is == silence        ? "silence"
                       : answer.is_acknowledgement() ? "ack"
                                                     : "nak " + std::to_string(answer.bits));
    });
    return told.size() == 1 ? told[0] : std::to_string(told.size()) + " answers";
}

struct said {
    std::string frame;
    std::string answer;
};

/** Each frame in turn to one card; an answer may be written with blanks between its digits. */
inline void expect_dialogue(terminal::card& card, const std::vector<said>& rows, const std::string& about = {})
{
    for (const said& row : rows) {
        std::string wanted = row.answer;
        const bool word = wanted == "ack" || wanted == "silence" || wanted.starts_with("nak");
        if (!word)
            std::erase(wanted, ' ');
        EXPECT_EQ(answer_of(card, row.frame), wanted) << about << " frame " << row.frame;
    }
}

inline terminal::card_ptr sample_card(const std::string& name)
{
    std::ifstream in(std::string(KT_CARD_SAMPLES "/") + name);
    return terminal::card_of_file(std::string(std::istreambuf_iterator<char>(in), {}));
}

/** The sentence with which a file is refused. */
inline std::string refusal_of(const std::string& text)
{
    try {
        (void)terminal::card_of_file(text);
    } catch (const std::invalid_argument& refused) {
        return refused.what();
    }
    return "not refused";
}

} // namespace kt::tests
