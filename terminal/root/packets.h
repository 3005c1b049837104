/** Sending and receiving the packets of channel.h. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/root/channel.h"

#include <array>
#include <initializer_list>
#include <string>

namespace kt::terminal {

/** A received packet; empty descriptors where none came. */
struct packet {
    packet_header header{};
    std::string text;
    std::array<descriptor, most_descriptors> descriptors;
};

/** False if nobody listens any more. */
bool send_packet(int channel, packet_kind kind, int value, const std::string& text = {});

/** Sends copies of descriptors, four at most; false if nobody listens any more. */
bool send_descriptors(int channel, packet_kind kind, int value, std::initializer_list<int> descriptors);

/** Waits for one packet; false at the end of all packets. */
bool receive_packet(int channel, packet& received);

} // namespace kt::terminal
