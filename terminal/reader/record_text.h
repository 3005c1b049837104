/** The journal's line of a request on the reader, whose thousand bytes nobody would read. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kt::terminal {

/** "NAME transmit LENGTH BYTES receive LENGTH parameter NUMBER"; nothing: no request with its whole record. */
std::optional<std::string> reader_record_text(std::uint32_t asked, const std::string& bytes);

} // namespace kt::terminal
