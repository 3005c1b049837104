/** BER-TLV, as the templates of chip cards are made of: tag, length, value. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** One data object at the begin of some bytes; its views live as long as those. */
struct ber_tlv {
    std::uint32_t tag = 0; /**< As its bytes are read: 0x5A, 0x9F38, 0xBF0C. */
    std::string_view value{};
    std::string_view rest{}; /**< What stands behind it. */
};

/** A data object; the length is as short as it can be, the value below 64 KiB. */
std::string tlv(std::uint32_t tag, std::string_view value);

/** Nothing: it is not whole, its tag has more than four bytes, or its length is not given in one to three. */
std::optional<ber_tlv> first_tlv(std::string_view bytes);

/** Data objects from the first byte to the last; true of no bytes, too. */
bool is_tlv_list(std::string_view bytes);

/** How many bytes a list of tags and lengths (as a PDOL) asks for. Nothing: it is not whole. */
std::optional<std::size_t> asked_by_dol(std::string_view dol);

} // namespace kt::terminal
