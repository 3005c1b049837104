/** Options up to the program's name; what follows is the program's. */
#include "terminal/options.h"

#include "terminal/control/socket_folder.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

namespace kt::terminal {

namespace {

std::string existing_folder(const std::string& option, const std::string& path)
{
    std::error_code missing;
    const std::filesystem::path real = std::filesystem::canonical(path, missing);
    if (missing || !std::filesystem::is_directory(real, missing))
        throw options_error(option + " " + path + " is no folder");
    return real;
}

std::string absolute(const std::string& path)
{
    std::error_code unused;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, unused), unused);
}

/** Takes the value of one option in. False: there is no such option. */
bool take(terminal_options& options, const std::string& option, const std::string& value)
{
    if (option == "--board")
        options.board = value;
    else if (option == "--log")
        options.log = value;
    else if (option == "--control")
        options.control = absolute(value);
    else if (option == "--name")
        options.name = value;
    else if (option == "--bind")
        options.start.writable.push_back(existing_folder(option, value));
    else if (option == "--state")
        options.start.state = absolute(value);
    else if (option == "--sysroot")
        options.start.sysroot = existing_folder(option, value);
    else
        return false;
    return true;
}

bool wants_value(const std::string& option)
{
    constexpr std::string_view all[] = {"--board", "--log", "--control", "--name", "--bind", "--state", "--sysroot"};
    return std::find(std::begin(all), std::end(all), option) != std::end(all);
}

} // namespace

terminal_options parse_options(const std::vector<std::string>& arguments)
{
    using wish = terminal_options::wish;
    terminal_options options;
    std::size_t at = 0;
    if (!arguments.empty() && arguments[0] == "ctl") {
        options.wanted = wish::ctl;
        options.ctl.assign(arguments.begin() + 1, arguments.end());
        return options;
    }
    for (; at < arguments.size() && arguments[at].starts_with('-'); ++at) {
        std::string option = arguments[at];
        if (option == "--") {
            ++at;
            break;
        }
        if (option == "--help" || option == "-h")
            options.wanted = wish::help;
        else if (option == "--version")
            options.wanted = wish::version;
        else if (option == "--list-boards")
            options.wanted = wish::list_boards;
        if (options.wanted != wish::run)
            return options;

        std::string value;
        if (const std::size_t equals = option.find('='); equals != std::string::npos) {
            value = option.substr(equals + 1);
            option.resize(equals);
            if (!wants_value(option))
                throw options_error("unknown option " + option);
        } else if (!wants_value(option)) {
            throw options_error("unknown option " + option);
        } else if (++at == arguments.size()) {
            throw options_error(option + " wants a value");
        } else {
            value = arguments[at];
        }
        if (value.empty())
            throw options_error(option + " wants a value");
        (void)take(options, option, value);
    }
    options.start.program.assign(arguments.begin() + static_cast<std::ptrdiff_t>(at), arguments.end());
    if (options.start.program.empty() || options.start.program[0].empty())
        throw options_error("a program to run is missing");
    if (!options.name.empty() && !is_terminal_name(options.name))
        throw options_error("--name " + options.name + ": letters, digits, '-', '_' and '.' (not first), at most 40");
    return options;
}

std::string options_help()
{
    return std::string(R"(usage: kt-terminal [OPTIONS] [--] PROGRAM [ARGUMENTS ...]
       kt-terminal ctl COMMAND ...        (speaks to a running terminal; see kt-terminal ctl --help)

Runs PROGRAM on a virtual payment terminal: the board's /sys, /dev, /proc/sys, /proc/cmdline, /kt and /mnt/data are its
own, and so are processes, network, host name and clock of the board's programs; nothing reaches this machine.

  --board N|FILE     the hardware version, or a board file of your own ()") +
           default_board + R"()
  --list-boards      print the boards
  --log FILE         write the journal to FILE, one JSON object a line
  --name NAME        what ctl calls this terminal (its process number)
  --control SOCKET   listen at SOCKET instead of in the user's folder, where ctl looks
  --bind DIR         a folder that the program can write to, at its own path; can be given again and again
  --state DIR        keep /kt and /mnt/data in DIR; else they are fresh, and thrown away at the end
  --sysroot DIR      libraries of another architecture for the program
  --help, --version

Exit status: that of PROGRAM; 128 + N when signal N ended it; 0 when it restarted the board or switched it off;
125 the terminal itself failed; 126 PROGRAM cannot be run; 127 PROGRAM is not found.
)";
}

} // namespace kt::terminal
