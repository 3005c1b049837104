/** Error numbers by name, since the numbers differ between machines. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** "EIO" for EIO; a number without a name as digits. */
std::string errno_name(int error);

/** The number of "EIO" on this machine; nothing for an unknown name. */
std::optional<int> errno_number(std::string_view name);

} // namespace kt::terminal
