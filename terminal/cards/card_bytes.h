/** Single bytes of frames and files. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kt::terminal {

/** @p index is within @p bytes. */
inline std::uint8_t byte_at(std::string_view bytes, std::size_t index)
{
    return static_cast<std::uint8_t>(bytes[index]);
}

} // namespace kt::terminal
