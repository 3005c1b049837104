/** The table, in the driver's order: 0x04 to 0x09, 0x18 to 0x1D, 0x32, 0x3A, 0x3B and 0x50 to 0x55 are not used. */
#include "terminal/reader/request_table.h"

#include "terminal/reader/requests.h"

#include <algorithm>
#include <iterator>

namespace kt::terminal {

namespace {

using enum reader_family;

constexpr request_row rows[] = {
    {0x01, "tcl_open", open_family, tcl},
    {0x02, "tcl_close", close_family, tcl},
    {0x03, "tcl_exchange", exchange_apdu, tcl},

    {0x0A, "mfcl_open", open_family, mfcl},
    {0x0B, "mfcl_close", close_family, mfcl},
    {0x0C, "mfcl_atqa", get_atqa, mfcl},
    {0x0D, "mfcl_setkey", set_key, mfcl},
    {0x0E, "mfcl_auth", authenticate, mfcl},
    {0x0F, "mfcl_read", read_block, mfcl},
    {0x10, "mfcl_write", write_block, mfcl},
    {0x11, "mfcl_increment", increment, mfcl},
    {0x12, "mfcl_decrement", decrement, mfcl},
    {0x13, "mfcl_transfer", transfer_value, mfcl},
    {0x14, "mfcl_restore", restore_value, mfcl},

    {0x15, "rid_open", open_family, rid},
    {0x16, "rid_close", close_family, rid},
    {0x17, "rid_exchange", exchange_apdu, rid},

    {0x1E, "felica_open", open_family, felica},
    {0x1F, "felica_close", close_family, felica},
    {0x20, "felica_exchange", exchange_packet, felica},

    {0x21, "mful_c_open", open_family, mful_c},
    {0x22, "mful_c_close", close_family, mful_c},
    {0x23, "mful_c_read", read_pages, mful_c},
    {0x24, "mful_c_write", write_page, mful_c},
    {0x25, "mful_c_compat_write", compatibility_write, mful_c},
    {0x26, "mful_c_auth1", authenticate_first, mful_c},
    {0x27, "mful_c_auth2", authenticate_second, mful_c},

    {0x28, "ntag21x_open", open_family, ntag21x},
    {0x29, "ntag21x_close", close_family, ntag21x},
    {0x2A, "ntag21x_read", read_pages, ntag21x},
    {0x2B, "ntag21x_fast_read", fast_read, ntag21x},
    {0x2C, "ntag21x_write", write_page, ntag21x},
    {0x2D, "ntag21x_compat_write", compatibility_write, ntag21x},
    {0x2E, "ntag21x_read_cnt", read_counter, ntag21x},
    {0x2F, "ntag21x_pwd_auth", authenticate_password, ntag21x},
    {0x30, "ntag21x_read_sig", read_signature, ntag21x},
    {0x31, "ntag21x_getversion", get_version, ntag21x},

    {0x33, "probe", probe},
    {0x34, "get_sak", get_sak},
    {0x35, "getuid", get_uid},
    {0x36, "get_atqa", get_atqa},
    {0x37, "get_atqb", get_atqb},
    {0x38, "get_rats", get_rats},
    {0x39, "get_attrib", get_attrib},
    {0x3C, "setpower", set_power},
    {0x3D, "typeA_config", configure_type_a},
    {0x3E, "typeB_config", configure_type_b},

    {0x3F, "mful_ev1_open", open_family, mful_ev1},
    {0x40, "mful_ev1_close", close_family, mful_ev1},
    {0x41, "mful_ev1_getversion", get_version, mful_ev1},
    {0x42, "mful_ev1_read", read_pages, mful_ev1},
    {0x43, "mful_ev1_fast_read", fast_read, mful_ev1},
    {0x44, "mful_ev1_write", write_page, mful_ev1},
    {0x45, "mful_ev1_compat_write", compatibility_write, mful_ev1},
    {0x46, "mful_ev1_read_cnt", read_counter, mful_ev1},
    {0x47, "mful_ev1_incr_cnt", increment_counter, mful_ev1},
    {0x48, "mful_ev1_pwd_auth", authenticate_password, mful_ev1},
    {0x49, "mful_ev1_read_sig", read_signature, mful_ev1},
    {0x4A, "mful_ev1_check_tearing_event", check_tearing, mful_ev1},
    {0x4B, "mful_ev1_vcsl", select_virtual_card, mful_ev1},

    {0x4C, "emulate_init", emulate_init},
    {0x4D, "emulate_config", emulate_config},
    {0x4E, "emulate_process", emulate_process},
    {0x4F, "emulate_deinit", emulate_deinit},
    {0x56, "hce_set_ndef", hce_set_ndef},
    {0x57, "hce_open", hce_open},
    {0x58, "hce_close", hce_close},
};

static_assert(std::is_sorted(std::begin(rows), std::end(rows),
                             [](const request_row& a, const request_row& b) { return a.number < b.number; }));

} // namespace

std::optional<std::uint8_t> reader_request_of(std::uint32_t asked)
{
    constexpr std::uint32_t all_requests = 0xC0044D00; // MIPS's _IOWR('M', 0, int), on every machine
    constexpr std::uint32_t number_mask = 0xFF;
    if ((asked & ~number_mask) != all_requests)
        return std::nullopt;
    return static_cast<std::uint8_t>(asked & number_mask);
}

bool request_row::needs_open() const
{
    return family != reader_family::none && act != open_family;
}

const request_row* row_of(std::uint8_t number)
{
    const auto* const found = std::lower_bound(std::begin(rows), std::end(rows), number,
                                               [](const request_row& row, std::uint8_t n) { return row.number < n; });
    return found != std::end(rows) && found->number == number ? found : nullptr;
}

} // namespace kt::terminal
