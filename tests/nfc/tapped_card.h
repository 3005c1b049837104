/** A card in the field of the open reader, and bytes as the data sheets print them. */
#pragma once

#include <kt_driver/nfc.h>

#include "terminal/client/virtual_terminal.h"
#include "tests/support/outcome.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace kt::tests {

/** "04 5A" and so on. */
inline std::string digits(const std::uint8_t* bytes, std::size_t count)
{
    std::string text;
    for (std::size_t at = 0; at < count; ++at) {
        if (at != 0)
            text += ' ';
        text += "0123456789ABCDEF"[bytes[at] >> 4];
        text += "0123456789ABCDEF"[bytes[at] & 0xF];
    }
    return text;
}

/** Blanks are passed over. */
inline std::string bytes(std::string_view digits)
{
    std::string plain, result;
    for (const char c : digits)
        if (c != ' ')
            plain += c;
    for (std::size_t at = 0; at < plain.size(); at += 2)
        result += static_cast<char>(std::stoi(plain.substr(at, 2), nullptr, 16));
    return result;
}

inline const std::uint8_t* data_of(const std::string& text)
{
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/** What a failed call was told; errno must still be the call's. */
inline std::string failure(int cause)
{
    return std::string("failed: ") + strerrorname_np(cause);
}

/** The read shape's output as digits, or its failure; the request's result is 0 or -1. */
template <typename Call>
std::string read_by(Call call)
{
    std::uint8_t out[512] = {};
    std::uint32_t length = 0xC5C5;
    errno = 0;
    const int result = call(out, &length);
    if (result == -1)
        return failure(errno);
    EXPECT_EQ(result, 0);
    EXPECT_LE(length, sizeof out);
    return digits(out, length);
}

/** "done" or its failure. */
template <typename Call>
std::string done_by(Call call)
{
    errno = 0;
    const int result = call();
    if (result == -1)
        return failure(errno);
    EXPECT_EQ(result, 0);
    return "done";
}

/** The reader, opened by the library; a card is tapped when there is one. */
class tapped_card {
public:
    explicit tapped_card(std::string_view file = {})
    {
        EXPECT_EQ(kt_rfid_init(), 0);
        if (!file.empty())
            board.tap_card(file);
    }
    ~tapped_card() { (void)kt_rfid_fini(); }
    tapped_card(const tapped_card&) = delete;
    tapped_card& operator=(const tapped_card&) = delete;

    /** Puts the card back that was torn away, as it is. */
    void tap_again(const std::string& name)
    {
        const std::string answer = board.card("{\"show\": \"" + name + "\"}");
        const std::size_t from = answer.find("\"card\":{") + sizeof "\"card\":" - 1;
        board.remove_cards();
        board.tap_card(answer.substr(from, answer.rfind('}') - from));
    }

    terminal::virtual_terminal board;
};

} // namespace kt::tests
