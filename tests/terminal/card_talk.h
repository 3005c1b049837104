/** A card on its own, asked in hexadecimal digits. */
#pragma once

#include "terminal/cards/card.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace kt::tests {

inline std::string digits_of(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) {
        text += "0123456789ABCDEF"[static_cast<unsigned char>(c) >> 4];
        text += "0123456789ABCDEF"[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

/** Blanks are passed over. */
inline std::string bytes_of(std::string_view digits)
{
    std::string plain;
    for (const char c : digits)
        if (c != ' ')
            plain += c;
    std::string bytes;
    for (std::size_t i = 0; i < plain.size(); i += 2)
        bytes += static_cast<char>(std::stoi(plain.substr(i, 2), nullptr, 16));
    return bytes;
}

/** What a card answers at once: digits, "silence", "bits A"; "later" when it has not answered yet. */
inline std::string asked(kt::terminal::card& card, std::string_view digits)
{
    using form = kt::terminal::card_answer::form;
    std::string answer = "later";
    card.exchange(bytes_of(digits), [&](const kt::terminal::card_answer& given) {
        if (given.is == form::bytes)
            answer = digits_of(given.bytes);
        else
            answer = given.is == form::silence ? "silence" : std::string("bits ") + "0123456789ABCDEF"[given.bits];
    });
    return answer;
}

/** Why a file is no card's; "accepted" when it is one. */
inline std::string refusal(std::string_view file)
{
    try {
        (void)kt::terminal::card_of_file(file);
        return "accepted";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

} // namespace kt::tests
