/** What goes to the card and back as it stands: APDUs by ISO 14443-4, and FeliCa's packets. */
#include "terminal/reader/requests.h"

#include <cerrno>

namespace kt::terminal {

void exchange_apdu(const request_turn& turn)
{
    talk(turn, turn.call->operand(), [turn](const card_answer& answer) { give(turn, bytes_of(answer, 0, EIO)); });
}

void exchange_packet(const request_turn& turn)
{
    const std::string packet = turn.call->operand();
    if (static_cast<unsigned char>(packet[0]) != packet.size())
        throw request_refused{EINVAL};
    talk(turn, packet, [turn](const card_answer& answer) { give(turn, bytes_of(answer, 0, EIO)); });
}

} // namespace kt::terminal
