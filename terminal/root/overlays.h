/** What lies over the host's program and library folders. */
#pragma once

#include "terminal/root/new_root.h"

#include <string>
#include <vector>

namespace kt::terminal {

/** Puts links to the stand-in program over /usr/bin and the other places of programs, under these names. */
void lay_stand_ins(const new_root& root, const std::vector<std::string>& names);

/** Adds a foreign architecture's libraries: what the host's library folders lack is found in the sysroot's. */
void lay_sysroot(const new_root& root, const std::string& sysroot);

} // namespace kt::terminal
