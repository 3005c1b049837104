/** Taking a line of the system log apart. */
#include "terminal/model/syslog_message.h"

#include <charconv>
#include <syslog.h>

namespace kt::terminal {

namespace {

/** Takes "<13>" off the front and returns its number; -1 and nothing taken when there is none. */
int take_priority(std::string_view& line)
{
    const std::size_t end = line.find('>');
    if (!line.starts_with('<') || end == std::string_view::npos)
        return -1;
    int number = -1;
    const auto [stop, error] = std::from_chars(line.data() + 1, line.data() + end, number);
    if (error != std::errc{} || stop != line.data() + end || number < 0)
        return -1;
    line.remove_prefix(end + 1);
    return number;
}

/** Takes "Nov  5 08:15:30 " off the front, whatever the language of the month. */
void take_time(std::string_view& line)
{
    constexpr std::string_view shape = "... .. ..:..:.. ";
    if (line.size() < shape.size())
        return;
    for (std::size_t i = 0; i < shape.size(); ++i)
        if (shape[i] != '.' && line[i] != shape[i])
            return;
    line.remove_prefix(shape.size());
}

/** Takes "identity[42]" apart; the number is the one that the program knows itself by. */
void take_header(std::string_view header, event& line)
{
    const std::size_t open = header.rfind('[');
    if (header.ends_with(']') && open != std::string_view::npos) {
        pid_t pid = 0;
        const char* end = header.data() + header.size() - 1;
        if (const auto [stop, error] = std::from_chars(header.data() + open + 1, end, pid);
            error == std::errc{} && stop == end && pid > 0) {
            line.pid = line.tid = pid;
            header = header.substr(0, open);
        }
    }
    line.path = header;
}

} // namespace

event syslog_event(std::string_view datagram)
{
    event line;
    line.kind = "syslog";
    if (datagram.ends_with('\0')) // some C libraries send the string's end too
        datagram.remove_suffix(1);
    const int priority = take_priority(datagram);
    line.priority = priority < 0 ? LOG_NOTICE : LOG_PRI(priority);
    take_time(datagram);
    const std::size_t colon = datagram.find(": ");
    if (priority >= 0 && colon != std::string_view::npos) {
        take_header(datagram.substr(0, colon), line);
        datagram.remove_prefix(colon + 2);
    }
    line.data = datagram;
    return line;
}

} // namespace kt::terminal
