/** What the driver can be asked, by number. */
#pragma once

#include "terminal/reader/chip.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace kt::terminal {

/** The number of a request, 0 to 255, in what a program gives to ioctl(2); nothing: it is none of the driver's. */
std::optional<std::uint8_t> reader_request_of(std::uint32_t asked);

struct request_row {
    std::uint8_t number;
    std::string_view name;
    void (*act)(const request_turn& turn); /**< Answers the call, or refuses it by request_refused. */
    reader_family family = reader_family::none;

    bool needs_open() const; /**< ENOTCONN unless a card is open for the family. */
};

/** Null: the driver does not know the number. */
const request_row* row_of(std::uint8_t number);

} // namespace kt::terminal
