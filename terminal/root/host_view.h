/** What of the host is seen in the terminal, and that none of it can be changed. */
#pragma once

#include "terminal/root/new_root.h"

#include <string>

namespace kt::terminal {

/** Shows every top-level folder, file and link of the host that the terminal has no own one for, read-only. */
void show_host(const new_root& root);

/** Shows a folder of the host at its own path, read-only, unless it is seen already or is the terminal's own. */
void show_folder(const new_root& root, const std::string& path);

/** Shows what the program is: its folder, as named and as resolved; in a folder of the terminal's own, the file alone.
 */
void show_program(const new_root& root, const std::string& name, const std::string& working_folder);

/** Shows a folder at its own path, writable. Throws setup_failure if it is the terminal's own. */
void show_writable(const new_root& root, const std::string& path, const std::string& working_folder);

/** An absolute path: the given one behind the working folder if it is relative. */
std::string absolute(const std::string& path, const std::string& working_folder);

/** The path without links; empty if nothing lies there. */
std::string resolved(const std::string& path);

} // namespace kt::terminal
