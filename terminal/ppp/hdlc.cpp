/** Flags, escapes and check sequences. */
#include "terminal/ppp/hdlc.h"

#include "terminal/ppp/fcs16.h"

#include <utility>

namespace kt::terminal {

namespace {

constexpr char flag = 0x7E;
constexpr char escape = 0x7D;
constexpr char escape_bit = 0x20;
constexpr char address = '\xFF';
constexpr char control = 0x03;

void put_escaped(std::string& into, char byte)
{
    if (byte == flag || byte == escape || static_cast<unsigned char>(byte) < 0x20) {
        into += escape;
        byte = static_cast<char>(byte ^ escape_bit);
    }
    into += byte;
}

unsigned byte_at(std::string_view bytes, std::size_t at)
{
    return static_cast<unsigned char>(bytes[at]);
}

} // namespace

std::string hdlc_frame(const ppp_packet& packet)
{
    std::string plain{address, control, static_cast<char>(packet.protocol >> 8),
                      static_cast<char>(packet.protocol & 0xFF)};
    plain += packet.information;
    const unsigned check = ~unsigned{fcs16(plain)};
    plain += static_cast<char>(check & 0xFF);
    plain += static_cast<char>((check >> 8) & 0xFF);

    std::string frame{flag};
    for (const char byte : plain)
        put_escaped(frame, byte);
    frame += flag;
    return frame;
}

std::vector<ppp_packet> hdlc_reader::feed(std::string_view bytes)
{
    std::vector<ppp_packet> packets;
    for (const char byte : bytes) {
        if (byte == flag) {
            end_frame(packets);
        } else if (frame_.size() >= longest_frame) {
            overlong_ = true;
        } else if (escaped_) {
            frame_ += static_cast<char>(byte ^ escape_bit);
            escaped_ = false;
        } else if (byte == escape) {
            escaped_ = true;
        } else {
            frame_ += byte;
        }
    }
    return packets;
}

void hdlc_reader::end_frame(std::vector<ppp_packet>& into)
{
    const std::string frame = std::exchange(frame_, {});
    const bool cut_off = std::exchange(escaped_, false);
    const bool overlong = std::exchange(overlong_, false);
    if (frame.empty() && !cut_off)
        return; // a second flag between frames
    if (frame.size() < 4 || cut_off || overlong || fcs16(frame) != fcs16_good) {
        ++dropped_;
        return;
    }
    std::string_view left(frame);
    left.remove_suffix(2);
    if (left[0] == address && left[1] == control) // may be left out, once both ends have agreed on it
        left.remove_prefix(2);
    ppp_packet packet;
    do { // the low bit of a protocol's last byte is set, and one byte will do for a small number
        if (left.empty() || packet.protocol > 0xFF) {
            ++dropped_;
            return;
        }
        packet.protocol = static_cast<std::uint16_t>((packet.protocol << 8) | byte_at(left, 0));
        left.remove_prefix(1);
    } while ((packet.protocol & 1) == 0);
    packet.information = left;
    into.push_back(std::move(packet));
}

} // namespace kt::terminal
