/** An event as a line for people: what `kt-terminal ctl journal` prints. */
#pragma once

#include "terminal/model/event.h"

#include <string>

namespace kt::terminal {

/** "   12  0.034150    7  write   /sys/… \"0x10\"", without a line feed. */
std::string event_text(const event& happened);

} // namespace kt::terminal
