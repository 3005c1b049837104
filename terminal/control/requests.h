/** What the control socket can be asked: one JSON object to its answer, whatever brought it. */
#pragma once

#include "terminal/control/card_requests.h"
#include "terminal/control/fault_requests.h"
#include "terminal/control/input_requests.h"
#include "terminal/control/line_requests.h"
#include "terminal/control/parked_request.h"
#include "terminal/model/board.h"
#include "terminal/model/profile.h"

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <variant>

namespace kt::terminal {

/** What "hello" says. */
struct terminal_identity {
    std::string name;
    std::string version;
};

/** Threads: one at a time. */
class requests {
public:
    /**
     * @p stop ends the program; it is called from within answer(). @p try_again has the parked requests asked again; it
     * may be called from any thread, and after this object.
     */
    requests(board& asked, const profile& actions, terminal_identity identity, std::function<void()> stop,
             std::function<void()> try_again);

    /** The answer to a line (both without line feed), or a request that waits. */
    std::variant<std::string, parked_request> answer(std::string_view line);

    /** Asks a parked request again: the answer, when there is one now. */
    static std::optional<std::string> again(const parked_request& waiting);

    /** Ends what leads out of the terminal. */
    void end_bridges() { lines_.end_bridges(); }

private:
    using json = nlohmann::ordered_json;

    json hello(const json& asked);
    json get(const json& asked);
    json set(const json& asked);
    json remove(const json& asked);
    json list(const json& asked);
    json events(const json& asked);
    json program(const json& asked);
    json act(const json& asked);
    json actions(const json& asked);
    json stop(const json& asked);
    json modem(const json& asked);           // modem_requests.cpp
    json sleep(const json& asked);           // sleep_requests.cpp
    json wake(const json& asked);            // sleep_requests.cpp
    json battery(const json& asked);         // battery_requests.cpp
    json tamper(const json& asked);          // tamper_requests.cpp
    parked_request clock(const json& asked); // clock_requests.cpp
    void refresh_battery();                  // battery_requests.cpp
    parked_request wait(const json& asked);

    struct operation;
    static const operation operations[];

    board& board_;
    const profile& profile_;
    const terminal_identity identity_;
    const std::function<void()> stop_;
    const std::function<void()> try_again_;
    fault_requests rules_;
    line_requests lines_;
    input_requests inputs_;
    card_requests cards_;
};

} // namespace kt::terminal
