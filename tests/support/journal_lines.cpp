/** Events to lines. */
#include "tests/support/journal_lines.h"

namespace kt::tests {

using terminal::event;
using terminal::virtual_terminal;

namespace {

bool concerns_the_board(const event& happened)
{
    if (happened.path.empty() || happened.path.front() != '/')
        return true;
    for (const std::string_view place : {"/sys/devices/system/", "/proc/sys/vm/overcommit"}) {
        if (happened.path.starts_with(place))
            return false;
    }
    return happened.path != "/dev/null" && happened.path != "/dev/tty";
}

std::string line_of(const event& happened)
{
    std::string line = happened.kind;
    if (happened.kind == "open")
        line += ' ' + happened.flags + ' ' + happened.path;
    else if (happened.kind == "read" || happened.kind == "write")
        line += ' ' + happened.path + ' ' + happened.data;
    else if (happened.kind == "shell")
        line += ' ' + happened.data;
    else if (happened.kind == "syslog")
        line += ' ' + std::to_string(happened.priority) + ' ' + happened.data;
    else
        line += ' ' + happened.path;

    if (happened.kind == "program") {
        for (std::size_t i = 1; i < happened.arguments.size(); ++i)
            line += ' ' + happened.arguments[i];
    }
    if (!happened.error.empty())
        line += " = " + happened.error;
    return line;
}

} // namespace

std::vector<std::string> told(virtual_terminal& board, std::initializer_list<std::string_view> kinds)
{
    std::vector<std::string> lines;
    for (const event& happened : board.events_of(kinds)) {
        if (concerns_the_board(happened))
            lines.push_back(line_of(happened));
    }
    return lines;
}

std::vector<std::string> doings(virtual_terminal& board)
{
    return told(board, {"open", "write", "shell", "program", "syslog", "create", "remove"});
}

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts)
{
    std::vector<std::string> all;
    for (const std::vector<std::string>& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

int opens_of(virtual_terminal& board, std::string_view path)
{
    int count = 0;
    for (const event& happened : board.events_of({"open"}))
        count += happened.path == path;
    return count;
}

} // namespace kt::tests
