/** kt-terminal: runs a program on a virtual board, or speaks to a terminal that runs. */
#include "terminal/control/ctl.h"
#include "terminal/model/profile.h"
#include "terminal/options.h"
#include "terminal/session.h"

#include <cstdio>
#include <exception>
#include <filesystem>

namespace {

using namespace kt::terminal;

constexpr int cannot = 125; // as env(1)

/** Next to the program's own folder, in a build folder as in an installation. */
std::string boards_folder()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "share/kt-terminal/boards";
}

void list_boards()
{
    for (const auto& [name, description] : profile::list(boards_folder()))
        std::printf("%-6s %s%s\n", name.c_str(), description.c_str(), name == default_board ? " (the default)" : "");
}

int end_as(const launch_result& result)
{
    using end = launch_result::end;
    switch (result.how) {
    case end::exited:
        return result.value;
    case end::killed:
        return 128 + result.value;
    case end::restart:
        std::fputs("kt-terminal: the board was restarted\n", stderr);
        return 0;
    case end::power_off:
        std::fputs("kt-terminal: the board was switched off\n", stderr);
        return 0;
    case end::failed:
        break;
    }
    std::fprintf(stderr, "kt-terminal: %s\n", result.message.c_str());
    return result.value;
}

int run(const terminal_options& options)
{
    using wish = terminal_options::wish;
    switch (options.wanted) {
    case wish::help:
        std::fputs(options_help().c_str(), stdout);
        return 0;
    case wish::version:
        std::puts("kt-terminal " KT_TERMINAL_VERSION);
        return 0;
    case wish::list_boards:
        list_boards();
        return 0;
    case wish::ctl:
        return ctl(options.ctl);
    case wish::run:
        break;
    }
    return end_as(run_session(options, boards_folder(), KT_TERMINAL_VERSION));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(parse_options({argv + 1, argv + argc}));
    } catch (const options_error& error) {
        std::fprintf(stderr, "kt-terminal: %s (kt-terminal --help tells more)\n", error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt-terminal: %s\n", error.what());
    }
    return cannot;
}
