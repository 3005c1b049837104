/** The names in a folder. */
#pragma once

#include <string>
#include <vector>

namespace kt::terminal {

/** Without "." and ".."; throws setup_failure. */
std::vector<std::string> names_in(const std::string& path);

} // namespace kt::terminal
