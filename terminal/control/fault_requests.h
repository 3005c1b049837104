/** What the control socket can be asked about failure rules. */
#pragma once

#include "terminal/model/board.h"

#include <map>
#include <nlohmann/json_fwd.hpp>

namespace kt::terminal {

/** Threads: one at a time. */
class fault_requests {
public:
    explicit fault_requests(board& asked) : board_(asked) {}

    using json = nlohmann::ordered_json;

    json fail(const json& asked);
    json mend(const json& asked);
    json faults(const json& asked);

private:
    board& board_;
    std::map<int, fault> rules_; // those that were asked for here, for "faults"
};

} // namespace kt::terminal
