/** One line per event, columns first, bytes that do not print as C escapes. */
#include "terminal/control/event_text.h"

#include "terminal/protocol/bytes_json.h"
#include "terminal/reader/record.h"
#include "terminal/reader/request_table.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

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

/** A request on the contactless reader: a thousand bytes are nothing to read. */
std::string reader_record_text(std::uint32_t request, const std::string& bytes)
{
    constexpr std::uint8_t emulate_config = 0x4D;
    const auto number = static_cast<std::uint8_t>(request);
    const request_row* const row = row_of(number);
    std::string text = row != nullptr ? " " + std::string(row->name) : "";
    if (number == emulate_config) {
        emulation_record record{};
        std::memcpy(&record, bytes.data(), sizeof record);
        return text + " header " + std::to_string(record.header_length) + " blocks " +
               std::to_string(record.block_count);
    }
    reader_record record{};
    std::memcpy(&record, bytes.data(), sizeof record);
    const std::size_t shown = std::min<std::size_t>(record.transmit_length, reader_record::most);
    text += " transmit " + std::to_string(record.transmit_length);
    if (shown != 0)
        text += " " + to_hex(bytes.substr(0, shown));
    text += " receive " + std::to_string(record.receive_length);
    return text + " parameter " + std::to_string(record.parameter);
}

bool is_reader_record(const event& happened)
{
    constexpr std::uint32_t all_requests = 0xC0044D00;
    constexpr std::uint32_t number_mask = 0xFF;
    return happened.kind == "ioctl" && (happened.request & ~number_mask) == all_requests &&
           happened.data.size() == sizeof(reader_record);
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
    if (is_reader_record(happened)) {
        line += reader_record_text(happened.request, happened.data);
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
