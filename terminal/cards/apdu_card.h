/** Cards with ISO 14443-4, of type A and B, that answer by a script in their file or through an attached program. */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"

namespace kt::terminal {

/**
 * The kinds "type_a" and "type_b". With "program" the card is an attachable (attachable.h) as well: a command waits
 * until it is answered there. When the card gets or loses power, gets another command, or is given up, what waits is
 * answered with silence, and the program's answer to it is refused.
 */
card_ptr apdu_card_of(const card_file& file);

} // namespace kt::terminal
