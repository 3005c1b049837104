// The kernel's input event devices: their records, and opening them.
#pragma once

#include <cerrno>
#include <cstdint>
#include <unistd.h>

namespace kt {

/** As a 32-bit kernel writes it, in every build. */
struct input_event {
    std::uint32_t seconds;
    std::uint32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};
static_assert(sizeof(input_event) == 16);

inline constexpr std::uint16_t ev_syn = 0;
inline constexpr std::uint16_t ev_key = 1;
inline constexpr std::uint16_t ev_abs = 3;

inline constexpr char node_format[] = "/dev/input/event%d";
using node_path = char[32]; // room for node_format and any number

/** A descriptor of 0 counts as failure, though it stays open: the keys' variables say "not opened" by it. */
inline bool usable(int fd)
{
    return fd >= 1;
}

/** Closes the descriptor if it is one of ours, then opens the node for reading. False: failed. */
bool reopen(int& fd, const char* node);

void make_non_blocking(int fd);

/**
 * Reads one event; a signal does not end the waiting. False: none is there, or the device is gone. A record that comes
 * short is filled up with zeros.
 */
inline bool read_event(int fd, input_event& event)
{
    for (;;) {
        event = {};
        const ssize_t count = read(fd, &event, sizeof event);
        if (count > 0)
            return true;
        if (count == 0 || errno != EINTR)
            return false;
    }
}

/** Reads and drops what is there. */
inline void flush_events(int fd)
{
    input_event event;
    while (read(fd, &event, sizeof event) > 0) {
    }
}

} // namespace kt
