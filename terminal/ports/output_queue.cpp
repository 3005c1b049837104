/** The kernel's rules for written bytes. */
#include "terminal/ports/output_queue.h"

#include <algorithm>
#include <cctype>

namespace kt::terminal {

std::size_t process_output(std::string_view written, const struct termios2& set, std::size_t room, std::string& leaving)
{
    constexpr tcflag_t changing = ONLCR | OCRNL | OLCUC;
    if ((set.c_oflag & OPOST) == 0 || (set.c_oflag & changing) == 0) {
        const std::string_view fits = written.substr(0, room);
        leaving += fits;
        return fits.size();
    }
    std::size_t taken = 0;
    for (char byte : written) {
        const bool two = byte == '\n' && (set.c_oflag & ONLCR) != 0;
        const std::size_t needed = two ? 2 : 1;
        if (room < needed)
            break;
        room -= needed;
        ++taken;
        if (two)
            leaving += '\r';
        else if (byte == '\r' && (set.c_oflag & OCRNL) != 0)
            byte = '\n';
        else if ((set.c_oflag & OLCUC) != 0)
            byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
        leaving += byte;
    }
    return taken;
}

} // namespace kt::terminal
