/** One line of the system log, as programs send it to /dev/log. */
#pragma once

#include "terminal/model/event.h"

#include <string_view>

namespace kt::terminal {

/**
 * The "syslog" event of a datagram "<13>Nov  5 08:15:30 identity[42]: text": priority without the facility, identity,
 * and the text as it was given, its own line feed included. What does not look so is all text, at the priority
 * LOG_NOTICE.
 */
event syslog_event(std::string_view datagram);

} // namespace kt::terminal
