/** What the parser lets pass, and a file that a person wrote must not have. */
#pragma once

#include "terminal/json/json.h"

namespace kt::terminal {

/**
 * For parsed_json(): throws std::invalid_argument for a name that stands twice in one object, of which the parser would
 * let the last one win, and for objects and lists nested more than @p deepest deep.
 */
json_filter strict_json(int deepest);

} // namespace kt::terminal
