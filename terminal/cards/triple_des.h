/** The cipher of Ultralight C. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kt::terminal {

constexpr std::size_t triple_des_block = 8;

enum class cipher { encipher, decipher };

/** Two-key Triple DES in CBC, of whole blocks, with a key of 16 bytes; @p chained becomes the last enciphered block. */
std::string triple_des(cipher way, std::string_view key, std::array<std::uint8_t, triple_des_block>& chained,
                       std::string_view text);

} // namespace kt::terminal
