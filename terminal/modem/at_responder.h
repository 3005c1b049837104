/** The command mode of one channel of a modem: what it hears, what it answers and what it is to do. */
#pragma once

#include "terminal/modem/settings.h"

#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** One thing to do, in the order in which they come. */
struct at_action {
    enum class kind {
        echo,      /**< Say text now. */
        answer,    /**< Say text as an answer, after the modem's delay. */
        dial,      /**< Call the number in text; nothing is heard until the call's result is said. */
        hang_up,   /**< End the call that is held (ATH, ATZ). */
        go_online, /**< Back to the call that is held (ATO). */
        multiplex, /**< From now on the port carries channels. */
    };
    kind what;
    std::string text;

    bool operator==(const at_action&) const = default;
};

/** A text as the modem says it: on a line of its own. */
std::string at_line(std::string_view text);

/**
 * Answers that settings replace, by the command as typed but in capitals outside quotes ("AT+CPIN?"): an empty text is
 * a plain OK; a text is said on a line of its own and OK after it, or nothing after it if it is a result itself
 * ("ERROR", "+CME ERROR: …", "NO CARRIER" …); a text with a carriage return is said as it is and is all that is said.
 * A result other than OK ends a line of several commands.
 */
class at_responder {
public:
    static constexpr std::size_t longest_line = 1024; /**< A longer one is an ERROR. */

    /** @p settings lives longer; @p physical: the port itself, which can be multiplexed, and not one of its channels.
     */
    at_responder(const modem_settings& settings, bool physical) : settings_(settings), physical_(physical) {}

    /** Takes bytes; the rest of them is dropped behind a dial, go_online or multiplex that comes of them. */
    std::vector<at_action> feed(std::string_view bytes);

    /** What has been typed of a line is forgotten; a new user of the port finds the modem as it was. */
    void forget_line() { line_.clear(); }

    /** What DTR's fall does (&D): 0 nothing, 1 command mode, 2 ends the call. */
    int on_dtr_drop() const { return on_dtr_drop_; }
    /** &C1: the carrier line follows the call; else it is always on. */
    bool shows_carrier() const { return shows_carrier_; }

private:
    class line_run;

    void reset();
    void run(std::string_view line, std::vector<at_action>& into);

    const modem_settings& settings_;
    const bool physical_;
    std::string line_;
    bool echo_ = true;
    int on_dtr_drop_ = 2;
    bool shows_carrier_ = false;
    int error_detail_ = 2; // +CMEE: 0 ERROR, 1 a number, 2 a text
    std::string context_ = "1,\"IP\",\"\",\"\",0,0";
};

} // namespace kt::terminal
