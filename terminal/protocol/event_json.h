/** The one place that knows how an event looks in JSON: on the control socket, in the log file and in the client. */
#pragma once

#include "terminal/model/event.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kt::terminal {

nlohmann::ordered_json json_of(const event& happened);

/** Throws std::invalid_argument (or a JSON exception) when it is no event. */
event event_of(const nlohmann::ordered_json& object);

/** The event as one line, with its line feed. */
std::string event_line(const event& happened);

} // namespace kt::terminal
