/** A card that answers as contactless payment cards do, from the directory to the records, with test data. */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"

namespace kt::terminal {

/** The kind "payment". It has no cryptography: what a terminal reads of it, it cannot authenticate. */
card_ptr payment_card_of(const card_file& file);

} // namespace kt::terminal
