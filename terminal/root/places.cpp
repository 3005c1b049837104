/** The table of the terminal's own paths. */
#include "terminal/root/places.h"

#include "terminal/own_folder.h"

namespace kt::terminal {

namespace {

// The board's, or new: nothing of the host can be shown in them, whatever stands above them in the next table.
constexpr std::string_view whole_places[] = {"/proc", "/sys", "/kt", "/mnt/data", "/etc/ppp", own::folder, "/.parts"};

// In memory, and empty at the start.
constexpr std::string_view empty_places[] = {"/tmp", "/run", "/mnt", "/dev/shm"};

bool is_in(std::string_view path, std::string_view folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

} // namespace

owner owner_of(std::string_view path)
{
    if (path == "/")
        return owner::terminal;
    for (const std::string_view place : whole_places) {
        if (is_in(path, place))
            return owner::terminal;
    }
    for (const std::string_view place : empty_places) {
        if (is_in(path, place))
            return path == place ? owner::terminal : owner::empty;
    }
    return is_in(path, "/dev") ? owner::terminal : owner::host;
}

} // namespace kt::terminal
