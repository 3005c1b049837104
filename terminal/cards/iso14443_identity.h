/** What a card with ISO 14443-4 says of itself when a reader selects it, as it stands in the card's file. */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"

namespace kt::terminal {

/** Reads the identity's members of a card of type_a or type_b. Throws as card_file does. */
card_identity iso14443_identity(card_family family, const card_file& file);

void put_iso14443_identity(const card_identity& identity, card_file& into);

} // namespace kt::terminal
