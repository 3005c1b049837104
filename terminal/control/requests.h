/** What the control socket can be asked: one JSON object to its answer, whatever brought it. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/profile.h"

#include <chrono>
#include <functional>
#include <map>
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

/** A request that is answered when an event fits, or when its time is up. */
struct parked_wait {
    std::uint64_t after = 0; /**< The last event that was looked at. */
    journal::match fits;
    std::chrono::steady_clock::time_point deadline;
};

/** Threads: one at a time. */
class requests {
public:
    /** @p stop ends the program; it is called from within answer(). */
    requests(board& asked, const profile& actions, terminal_identity identity, std::function<void()> stop);

    /** The answer to a line (both without line feed), or a wait that is not over yet. */
    std::variant<std::string, parked_wait> answer(std::string_view line);

    /** Tries a parked wait again: the answer, when there is one now. */
    std::optional<std::string> again(parked_wait& waiting);

private:
    using json = nlohmann::ordered_json;

    json hello(const json& asked);
    json get(const json& asked);
    json set(const json& asked);
    json remove(const json& asked);
    json list(const json& asked);
    json fail(const json& asked);
    json mend(const json& asked);
    json faults(const json& asked);
    json events(const json& asked);
    json program(const json& asked);
    json act(const json& asked);
    json actions(const json& asked);
    json stop(const json& asked);
    parked_wait wait(const json& asked);

    struct operation;
    static const operation operations[];

    board& board_;
    const profile& profile_;
    const terminal_identity identity_;
    const std::function<void()> stop_;
    std::map<int, fault> rules_; // those that were asked for here, for "faults"
};

} // namespace kt::terminal
