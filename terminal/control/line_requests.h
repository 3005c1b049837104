/** What the control socket can be asked about serial ports: what is at the other end of their lines. */
#pragma once

#include "terminal/control/bridge.h"
#include "terminal/control/parked_request.h"
#include "terminal/model/board.h"
#include "terminal/ports/recorder.h"

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kt::terminal {

/** Threads: one at a time. */
class line_requests {
public:
    /** @p try_again has the parked requests asked again; it may be called from any thread, and after this object. */
    line_requests(board& asked, std::function<void()> try_again);

    using json = nlohmann::ordered_json;

    json port(const json& asked);
    json send(const json& asked);
    json line(const json& asked);
    json hang_up(const json& asked);
    json bridge(const json& asked);

    parked_request expect(const json& asked);

    /** After places were taken off the board: ends the bridges of ports that are gone. */
    void end_left_bridges();
    void end_bridges() { bridges_.clear(); }

private:
    struct bridged {
        std::shared_ptr<recorded_port> port;
        std::unique_ptr<line_bridge> bridge;
    };

    std::shared_ptr<class line> line_of(const json& asked) const;
    std::shared_ptr<recorded_port> recorded_of(const json& asked) const;
    json state_of(class line& asked, const recorded_port* recorded) const;

    board& board_;
    const std::function<void()> try_again_;
    std::map<std::string, bridged> bridges_; // by path
};

} // namespace kt::terminal
