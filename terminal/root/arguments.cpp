/** The helper's argument list, made and read. */
#include "terminal/root/arguments.h"

#include "terminal/root/failure.h"

#include <cstdlib>

namespace kt::terminal {

std::vector<std::string> to_arguments(const std::string& helper, const helper_arguments& given)
{
    std::vector<std::string> all{helper, "--channel", std::to_string(given.channel)};
    for (const std::string& folder : given.options.writable)
        all.insert(all.end(), {"--bind", folder});
    for (const std::string& name : given.options.stand_ins)
        all.insert(all.end(), {"--stand-in", name});
    if (!given.options.sysroot.empty())
        all.insert(all.end(), {"--sysroot", given.options.sysroot});
    if (!given.options.state.empty())
        all.insert(all.end(), {"--state", given.options.state});
    all.emplace_back("--");
    all.insert(all.end(), given.options.program.begin(), given.options.program.end());
    return all;
}

helper_arguments from_arguments(int argc, const char* const* argv)
{
    helper_arguments given;
    int at = 1;
    for (; at + 1 < argc; at += 2) {
        const std::string option = argv[at];
        if (option == "--")
            break;
        const char* value = argv[at + 1];
        if (option == "--channel")
            given.channel = atoi(value);
        else if (option == "--bind")
            given.options.writable.emplace_back(value);
        else if (option == "--stand-in")
            given.options.stand_ins.emplace_back(value);
        else if (option == "--sysroot")
            given.options.sysroot = value;
        else if (option == "--state")
            given.options.state = value;
        else
            break;
    }
    if (at + 1 >= argc || std::string(argv[at]) != "--" || given.channel < 0)
        throw setup_failure{terminal_failed, "this program is a part of kt-terminal and is started by it only"};
    given.options.program.assign(argv + at + 1, argv + argc);
    return given;
}

} // namespace kt::terminal
