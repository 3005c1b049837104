/** Keys by the names that people and tests use. */
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kt::terminal {

/**
 * The input code of "enter", "power", "5" …: the kernel's names in lower case, without KEY_, of the keys that the
 * terminal has. A number that is no such name is the code itself ("10" and up). Nothing: there is no such key.
 */
std::optional<std::uint16_t> key_code(std::string_view name);

/** All names, for a refusal. */
const char* key_names();

/** The codes of the keypad's keys. */
std::vector<std::uint16_t> keypad_codes();

} // namespace kt::terminal
