/**
 * FeliCa, what needs no encryption of it: a system with services of 16-byte blocks.
 *
 * Packets stand whole with their length byte first, both ways, without preamble and checksum:
 *
 *     00  Polling                     by system code (FF stands for any byte), with request codes 00, 01, 02
 *     02  Request Service             key versions of up to 32 areas and services
 *     04  Request Response            always mode 0: nothing here authenticates
 *     06  Read Without Encryption     08  Write Without Encryption
 *     0C  Request System Code
 *
 * What does not hold together, other commands, another's IDm and a system that is not on the card: silence. A refused
 * read or write answers two status flags and nothing else, and has written nothing.
 */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"

namespace kt::terminal {

/** "idm", "pmm", "system", "key_version", "services": see README.md. Throws std::invalid_argument with a sentence. */
card_ptr felica_card_of(const card_file& file);

} // namespace kt::terminal
