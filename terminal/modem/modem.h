/** The cellular modem: its power, its port, and the channels that a multiplexer makes of it. */
#pragma once

#include "terminal/modem/settings.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

class board;

/** A port of the modem as it stands. */
struct modem_port_state {
    std::string path;
    std::string mode; /**< "command", "dialling", "data" or "multiplexed". */
    bool open = false;
    bool in_call = false;
    std::string dialled; /**< The last number. */
    bool up = false;     /**< The call's PPP link has its addresses. */
    std::string user;    /**< Who the terminal said it is. */
};

struct modem_state {
    bool powered = false;
    bool multiplexed = false;
    std::vector<modem_port_state> ports; /**< The physical port first. */
    std::string heard;                   /**< The newest 4096 bytes that came while a port waited for commands. */
};

/**
 * The port's node is there while the power attribute is not 0. AT+CMUX=0 on it makes the channels' nodes; they go dead
 * when the port is closed or power goes, and their names stay until somebody removes them. Threads: any.
 */
class modem {
public:
    static constexpr const char* power_attribute = "/sys/class/kt_misc/ioctl/gsm_pwr";

    /** Follows the power from its present value on. The board lives longer; stop() comes before the modem's end. */
    modem(board& on, std::string path, modem_settings settings, const std::string& power = power_attribute);
    ~modem();
    modem(const modem&) = delete;
    modem& operator=(const modem&) = delete;

    const std::string& path() const;
    /** Its port was taken off the board by the other side. */
    bool is_unplugged() const;
    modem_settings settings() const;
    void change(const std::function<void(modem_settings&)>& how);
    modem_state state() const;

    /** Ends the calls: NO CARRIER and the carrier line off. @p hung_up: what is open is hung up too. @p port: of this
     * port only, if not empty. False: there is no such port. */
    bool drop_carrier(bool hung_up, std::string_view port = {});

    /** Nothing of the board is touched any more. */
    void stop();

private:
    struct parts;
    std::shared_ptr<parts> parts_;
};

/** The modem whose physical port is at a path, there or not; null: there is none. */
std::shared_ptr<modem> modem_at(const board& searched, std::string_view path);

/** Modems of a board; they stop at its end, which must come before the board's. */
class fitted_modems {
public:
    explicit fitted_modems(board& fitted);
    ~fitted_modems();
    fitted_modems(const fitted_modems&) = delete;
    fitted_modems& operator=(const fitted_modems&) = delete;

private:
    class rack;
    friend std::shared_ptr<modem> modem_at(const board& searched, std::string_view path);

    board& board_;
    const std::shared_ptr<rack> rack_;
};

/** Makes the kind "modem" known to a board; its options are the settings' names (docs/control-protocol.md). */
[[nodiscard]] inline std::unique_ptr<fitted_modems> know_modems(board& known)
{
    return std::make_unique<fitted_modems>(known);
}

/** Changes settings as a JSON object says, all or nothing. Throws std::invalid_argument with a sentence. */
void change_settings(modem_settings& settings, const std::string& text);

} // namespace kt::terminal
