/** PPP packets in the frames of an asynchronous line. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

struct ppp_packet {
    std::uint16_t protocol = 0;
    std::string information;

    bool operator==(const ppp_packet&) const = default;
};

/** A whole frame, flag to flag; every control character is escaped, which any receiver understands. */
std::string hdlc_frame(const ppp_packet& packet);

/** Finds the packets in a stream of bytes; noise between frames and damaged frames are dropped. */
class hdlc_reader {
public:
    static constexpr std::size_t longest_frame = 4096; /**< Address to check sequence; a longer one is dropped. */

    /** The packets that these bytes complete. */
    std::vector<ppp_packet> feed(std::string_view bytes);

    /** Frames that were dropped: too long or short, cut off, or with a wrong check sequence. */
    unsigned dropped() const { return dropped_; }

private:
    void end_frame(std::vector<ppp_packet>& into);

    std::string frame_;
    bool escaped_ = false;
    bool overlong_ = false;
    unsigned dropped_ = 0;
};

} // namespace kt::terminal
