/** The reader as a card: what an outside phone would read from it. */
#pragma once

#include <cstdint>
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

struct request_turn;

// The requests 0x4C to 0x4F and 0x56 to 0x58.
void emulate_init(const request_turn& turn);
void emulate_config(const request_turn& turn);
void emulate_process(const request_turn& turn);
void emulate_deinit(const request_turn& turn);
void hce_set_ndef(const request_turn& turn);
void hce_open(const request_turn& turn);
void hce_close(const request_turn& turn);

} // namespace kt::terminal
