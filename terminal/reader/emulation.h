/** The reader as a card: what an outside phone would read from it. */
#pragma once

#include <string>

namespace kt::terminal {

/** A memory card whose contents the program gave. */
struct emulated_card {
    bool begun = false;      /**< emulate_init to emulate_deinit. */
    bool configured = false; /**< What follows was given since. */
    bool running = false;    /**< emulate_process was called since. */
    std::string header{};
    std::string blocks{}; /**< 4 bytes each. */
};

/** Host card emulation: an NDEF message. */
struct emulated_tag {
    bool open = false;
    std::string ndef{};
};

} // namespace kt::terminal
