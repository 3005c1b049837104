/**
 * Mifare Classic 1K: sixteen sectors behind two keys each, blocks that keep data or a value.
 *
 * The cipher is not modelled, so the three passes of an authentication are one frame, which holds the key that the
 * reader would prove to know: 60h (key A) or 61h (key B), the block, the six bytes of the key. It is acknowledged, or
 * nothing comes back. All other frames stand as in the data sheet, in the clear:
 *
 *     30 block                  read                16 bytes
 *     A0 block, then 16 bytes   write               acknowledged twice
 *     C1, C0, C2 block, then 4  increment,          acknowledged, then silence for success or a refusal; the number is
 *                               decrement, restore  little-endian, and what is restored with is not looked at
 *     B0 block                  transfer            acknowledged
 *     50 00                     halt                nothing
 *
 * A refusal is 4 for what is not allowed and 5 for a frame of a wrong length, which on the air is a wrong checksum;
 * they are 0 and 1 while the transfer buffer holds a value. A refusal, a failed authentication and a halt end it all:
 * the card is silent until it is selected anew (power_up()), and its transfer buffer is empty.
 */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"

namespace kt::terminal {

/** "uid", "name", "sectors", "blocks": see README.md. Throws std::invalid_argument with a sentence. */
card_ptr classic_card_of(const card_file& file);

} // namespace kt::terminal
