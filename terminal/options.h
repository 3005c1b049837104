/** The command line of kt-terminal. */
#pragma once

#include "terminal/root/launch.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace kt::terminal {

/** The command line makes no sense; the text says why. */
class options_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The board of a terminal that is not told otherwise. */
inline constexpr const char* default_board = "500";

struct terminal_options {
    enum class wish { run, help, version, list_boards, ctl } wanted = wish::run;
    std::string board = default_board;
    std::string log;              /**< File of the journal, or empty. */
    std::string control;          /**< Socket instead of the one in the user's folder, or empty. */
    std::string name;             /**< Empty: the process number. */
    launch_options start;         /**< The program, --bind, --state, --sysroot; the stand-ins come from the board. */
    std::vector<std::string> ctl; /**< The words behind "ctl". */
};

/** Throws options_error. Folders are made absolute; those of --bind and --sysroot must exist. */
terminal_options parse_options(const std::vector<std::string>& arguments);

/** What --help prints. */
std::string options_help();

} // namespace kt::terminal
