/** One line per event, columns first, bytes that do not print as C escapes. */
#include "terminal/control/event_text.h"

#include "terminal/reader/record_text.h"

#include <cstdio>

namespace kt::terminal {

namespace {

std::string quoted(const std::string& bytes)
{
    std::string text = "\"";
    for (const char each : bytes) {
        const auto value = static_cast<unsigned char>(each);
        if (each == '\n') {
            text += "\\n";
        } else if (each == '"' || each == '\\') {
            text += '\\';
            text += each;
        } else if (value < 0x20 || value >= 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", value);
            text += escape;
        } else {
            text += each;
        }
    }
    return text + "\"";
}

} // namespace

std::string event_text(const event& happened)
{
    char columns[64];
    std::snprintf(columns, sizeof columns, "%6llu %11.6f %5d  %-8s", static_cast<unsigned long long>(happened.seq),
                  happened.time_s, static_cast<int>(happened.pid), happened.kind.c_str());
    std::string line = columns;
    if (!happened.path.empty())
        line += " " + happened.path;
    if (!happened.flags.empty())
        line += " " + happened.flags;
    if (happened.request != 0) {
        char request[16];
        std::snprintf(request, sizeof request, " 0x%08X", happened.request);
        line += request;
    }
    if (const auto record = reader_record_text(happened.request, happened.data)) {
        line.append(" ").append(*record);
    } else if (happened.kind == "shell") {
        line.append(" ").append(quoted(happened.data)); // the arguments say no more
    } else {
        if (happened.offset != 0)
            line.append(" at ").append(std::to_string(happened.offset));
        if (happened.kind == "read" || happened.kind == "write" || !happened.data.empty())
            line.append(" ").append(quoted(happened.data));
        for (const std::string& each : happened.arguments)
            line.append(" ").append(quoted(each));
    }
    if (happened.kind == "exit" || (happened.kind == "wake" && happened.error.empty()))
        line.append(" ").append(std::to_string(happened.result));
    if (happened.kind == "wake")
        line.append(" after ").append(std::to_string(happened.slept_ms)).append(" ms");
    if (!happened.error.empty())
        line += " -> " + happened.error;
    return line;
}

} // namespace kt::terminal
