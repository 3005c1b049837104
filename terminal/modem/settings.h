/** What a modem, its SIM card and its network are like; all of it can be changed while it runs. */
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace kt::terminal {

struct modem_settings {
    /** What replaces the answer to a command ("AT+CSQ"); see at_responder. */
    std::map<std::string, std::string, std::less<>> answers;
    std::chrono::milliseconds delay{0}; /**< Before each answer. */
    bool silent = false;                /**< Says nothing at all, not even an echo. */
    std::string garbage;                /**< Not empty: said in the place of every answer. */

    std::string sim = "READY";         /**< What +CPIN? tells, or "missing". */
    unsigned signal = 21;              /**< 0 to 31, or 99: unknown. */
    std::string network = "KT MOBILE"; /**< Empty: none is found. */

    std::string dial = "CONNECT"; /**< The answer to a call; what begins with CONNECT makes a connection. */
    unsigned rings = 0;           /**< RINGING is said so often before. */
    std::chrono::milliseconds dial_delay{0};
    std::chrono::milliseconds guard{1000}; /**< The silence before and after the escape "+++". */

    std::string peer =
        "ppp"; /**< Who is behind a call: "ppp", "echo" (says what it hears) or "none" (a dead network). */
    std::uint32_t own_address = 0x0A400001;   /**< The network's, 10.64.0.1. */
    std::uint32_t given_address = 0x0A400002; /**< The terminal's, 10.64.0.2. */
    std::uint32_t dns[2] = {0x0A400035, 0x0A400036};
    bool asks_user = false;     /**< The network wants to know who calls (PAP). */
    std::string user;           /**< Whom it accepts; empty: everybody. */
    std::string password;       /**< With which password; empty: any. */
    bool answers_echoes = true; /**< False: a link that is up falls silent. */

    std::chrono::milliseconds boot_delay{0}; /**< From power to the port's appearance. */
    std::string channels_folder = "/dev/chn";
    unsigned channels = 4;
};

} // namespace kt::terminal
