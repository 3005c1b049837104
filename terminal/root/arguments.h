/** How the terminal hands its options to the set-up helper: as that program's arguments. */
#pragma once

#include "terminal/root/launch.h"

#include <string>
#include <vector>

namespace kt::terminal {

/** What the helper is started with. */
struct helper_arguments {
    int channel = -1;
    launch_options options;
};

/** The argument vector, the program's own name first. */
std::vector<std::string> to_arguments(const std::string& helper, const helper_arguments& given);

/** The reverse; throws setup_failure for a list that to_arguments() does not make. */
helper_arguments from_arguments(int argc, const char* const* argv);

} // namespace kt::terminal
