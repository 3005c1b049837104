/** The packets that the set-up helper sends to the terminal through their SOCK_SEQPACKET pair. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace kt::terminal {

/**
 * First "descriptors" (four of them as SCM_RIGHTS, in the order of inner_descriptors), then, where the kernel has it,
 * "receiver", then one of the others, unless the set-up failed before. The terminal sends nothing: when its end is shut
 * or closed, the helper ends the program.
 */
enum class packet_kind : std::int32_t {
    descriptors,
    /** One descriptor, which gives the calls that wait for an answer; value: the board's files' minor device number. */
    receiver,
    exited,    /**< value: status */
    killed,    /**< value: signal */
    restart,   /**< The program restarted the board. */
    power_off, /**< The program switched the board off. */
    failed,    /**< value: 125 to 127; the sentence follows. */
};

/** The start of each packet; the rest is text. */
struct packet_header {
    packet_kind kind;
    std::int32_t value;
};

inline constexpr std::size_t longest_packet_text = 4096;
inline constexpr std::size_t most_descriptors = 4;

} // namespace kt::terminal
