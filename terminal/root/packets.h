/** Sending and receiving the packets of channel.h. */
#pragma once

#include "terminal/root/channel.h"

#include <array>
#include <string>

namespace kt::terminal {

/** A received packet; descriptors are the receiver's, -1 where none came. */
struct packet {
    packet_header header{};
    std::string text;
    std::array<int, descriptors_in_packet> descriptors{-1, -1, -1, -1};
};

/** False if nobody listens any more. */
bool send_packet(int channel, packet_kind kind, int value, const std::string& text = {});

/** Sends the four; false if nobody listens any more. */
bool send_descriptors(int channel, const std::array<int, descriptors_in_packet>& descriptors);

/** Waits for one packet; false at the end of all packets. */
bool receive_packet(int channel, packet& received);

} // namespace kt::terminal
