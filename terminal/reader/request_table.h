/** What the driver can be asked, by number. */
#pragma once

#include "terminal/reader/chip.h"

#include <cstdint>
#include <string_view>

namespace kt::terminal {

struct request_row {
    std::uint8_t number;
    std::string_view name;
    void (*act)(const request_turn& turn); /**< Answers the call, or refuses it by request_refused. */
    reader_family family = reader_family::none;
    bool needs_open = false; /**< ENOTCONN unless a card is open for the family. */
};

/** Null: the driver does not know the number. */
const request_row* row_of(std::uint8_t number);

/** Does a step, unless the request is over (by a signal); what it refuses is the request's end. */
template <typename Step>
void guarded(const request_turn& turn, Step step)
{
    if (turn.call->is_over())
        return;
    try {
        step();
    } catch (const request_refused& refused) {
        turn.call->fail(refused.error);
    }
}

} // namespace kt::terminal
