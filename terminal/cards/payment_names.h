/** Tags, names and status words of contactless payment cards. */
#pragma once

#include <cstdint>
#include <string_view>

namespace kt::terminal {

inline constexpr std::string_view directory_name = "2PAY.SYS.DDF01"; // the proximity payment system environment

inline constexpr std::uint32_t tag_aid = 0x4F;
inline constexpr std::uint32_t tag_label = 0x50;
inline constexpr std::uint32_t tag_track_2 = 0x57;
inline constexpr std::uint32_t tag_pan = 0x5A;
inline constexpr std::uint32_t tag_holder = 0x5F20;
inline constexpr std::uint32_t tag_expiry = 0x5F24;
inline constexpr std::uint32_t tag_entry = 0x61;
inline constexpr std::uint32_t tag_fci = 0x6F;
inline constexpr std::uint32_t tag_record = 0x70;
inline constexpr std::uint32_t tag_options = 0x77;
inline constexpr std::uint32_t tag_aip = 0x82;
inline constexpr std::uint32_t tag_terminal_data = 0x83;
inline constexpr std::uint32_t tag_name = 0x84;
inline constexpr std::uint32_t tag_priority = 0x87;
inline constexpr std::uint32_t tag_afl = 0x94;
inline constexpr std::uint32_t tag_fci_data = 0xA5;
inline constexpr std::uint32_t tag_pdol = 0x9F38;
inline constexpr std::uint32_t tag_issuer_data = 0xBF0C;

enum class status_word : std::uint16_t {
    done = 0x9000,
    selected_but_invalidated = 0x6283,
    wrong_length = 0x6700,
    conditions_not_satisfied = 0x6985,
    wrong_data = 0x6A80,
    function_not_supported = 0x6A81,
    file_not_found = 0x6A82,
    record_not_found = 0x6A83,
    wrong_parameters = 0x6A86,
    instruction_not_supported = 0x6D00,
    class_not_supported = 0x6E00,
};

} // namespace kt::terminal
