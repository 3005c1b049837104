/** The parts of which FeliCa's packets are made: status flags, block list elements, numbers. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kt::terminal {

/** Status flag 2. */
enum class felica_status : std::uint8_t {
    success = 0x00,
    number_of_services = 0xA1,
    number_of_blocks = 0xA2,
    service_order = 0xA3, // a block list element that names no entry of the service code list
    not_allowed = 0xA5,   // writing by a read-only service
    service_code = 0xA6,  // no such service
    access_mode = 0xA7,   // a random service knows mode 0 only
    block_number = 0xA8,
};

/** Status flag 1: where in the block list, counted from 1, or that it is not about an element. */
inline constexpr std::uint8_t not_in_the_list = 0xFF;

struct felica_outcome {
    felica_status why = felica_status::success;
    std::uint8_t where = not_in_the_list;

    std::string flags() const
    {
        return {why == felica_status::success ? '\0' : static_cast<char>(where), static_cast<char>(why)};
    }
};

/** A packet's bytes from front to back; reading past the end gives zeros and spoils it. */
class felica_packet {
public:
    explicit felica_packet(std::string_view bytes) : rest_(bytes) {}

    std::string_view bytes(std::size_t count)
    {
        if (rest_.size() < count) {
            spoilt_ = true;
            rest_ = {};
            return {};
        }
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    std::uint8_t byte()
    {
        const std::string_view taken = bytes(1);
        return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken[0]);
    }
    std::uint16_t little()
    {
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | unsigned{byte()} << 8);
    }
    bool spoilt() const { return spoilt_; }
    bool ended_well() const { return !spoilt_ && rest_.empty(); }

private:
    std::string_view rest_;
    bool spoilt_ = false;
};

inline std::string felica_number(std::uint16_t number)
{
    return {static_cast<char>(number), static_cast<char>(number >> 8)};
}

struct felica_element {
    unsigned order;
    unsigned mode;
    unsigned number;
};

inline felica_element felica_element_of(felica_packet& packet)
{
    const unsigned first = packet.byte();
    const bool short_form = (first & 0x80) != 0;
    const unsigned number = short_form ? packet.byte() : packet.little();
    return {first & 0xF, first >> 4 & 0x7, number};
}

} // namespace kt::terminal
