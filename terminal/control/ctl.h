/** `kt-terminal ctl`: the control socket for the shell. */
#pragma once

#include <string>
#include <vector>

namespace kt::terminal {

/** Runs one command; @p arguments are those behind "ctl". Prints, and returns the exit status that ctl_help() tells. */
int ctl(const std::vector<std::string>& arguments);

/** What `kt-terminal ctl --help` prints. */
std::string ctl_help();

} // namespace kt::terminal
