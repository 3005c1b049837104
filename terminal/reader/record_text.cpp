/** The request's name, and the fields that it uses. */
#include "terminal/reader/record_text.h"

#include "terminal/protocol/bytes_json.h"
#include "terminal/reader/record.h"
#include "terminal/reader/request_table.h"

#include <algorithm>
#include <cstring>

namespace kt::terminal {

std::optional<std::string> reader_record_text(std::uint32_t asked, const std::string& bytes)
{
    constexpr std::uint8_t emulate_config = 0x4D;
    const auto number = reader_request_of(asked);
    if (!number || bytes.size() != sizeof(reader_record))
        return std::nullopt;
    const request_row* const row = row_of(*number);
    std::string text = row != nullptr ? std::string(row->name) + " " : "";
    if (*number == emulate_config) {
        emulation_record record{};
        std::memcpy(&record, bytes.data(), sizeof record);
        return text + "header " + std::to_string(record.header_length) + " blocks " +
               std::to_string(record.block_count);
    }
    reader_record record{};
    std::memcpy(&record, bytes.data(), sizeof record);
    const std::size_t shown = std::min<std::size_t>(record.transmit_length, reader_record::most);
    text += "transmit " + std::to_string(record.transmit_length);
    if (shown != 0)
        text += " " + to_hex(bytes.substr(0, shown));
    text += " receive " + std::to_string(record.receive_length);
    return text + " parameter " + std::to_string(record.parameter);
}

} // namespace kt::terminal
