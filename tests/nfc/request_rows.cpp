/** The table: a number, a function, what it sets, what it gives. */
#include "tests/nfc/request_rows.h"

#include <kt_driver/nfc.h>

#include <array>
#include <stdexcept>

namespace kt::tests {

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;

// One for each list of arguments.
int invoke(int (*f)(), const operands&, const outputs&)
{
    return f();
}
int invoke(int (*f)(u8*), const operands&, const outputs& out)
{
    return f(out.bytes);
}
int invoke(int (*f)(const u8*), const operands& in, const outputs&)
{
    return f(in.data);
}
int invoke(int (*f)(const u8*, u32), const operands& in, const outputs&)
{
    return f(in.data, in.size);
}
int invoke(int (*f)(u32), const operands& in, const outputs&)
{
    return f(in.a);
}
int invoke(int (*f)(u32, u32), const operands& in, const outputs&)
{
    return f(in.a, in.b);
}
int invoke(int (*f)(u32, u32, u32), const operands& in, const outputs&)
{
    return f(in.a, in.b, in.c);
}
int invoke(int (*f)(u8*, u32*), const operands&, const outputs& out)
{
    return f(out.bytes, out.length);
}
int invoke(int (*f)(u32, u8*, u32*), const operands& in, const outputs& out)
{
    return f(in.a, out.bytes, out.length);
}
int invoke(int (*f)(u32, u32, u8*, u32*), const operands& in, const outputs& out)
{
    return f(in.a, in.b, out.bytes, out.length);
}
int invoke(int (*f)(u32, const u8*, u32), const operands& in, const outputs&)
{
    return f(in.a, in.data, in.size);
}
int invoke(int (*f)(const u8*, u32, u8*, u32*), const operands& in, const outputs& out)
{
    return f(in.data, in.size, out.bytes, out.length);
}
int invoke(int (*f)(const u8*, u32, const u8*, u32, u8*, u32*), const operands& in, const outputs& out)
{
    return f(in.data, in.size, in.more, in.more_size, out.bytes, out.length);
}
int invoke(int (*f)(const u8*, u32, u8**, u16*), const operands& in, const outputs& out)
{
    return f(in.data, in.size, out.place, out.short_length);
}
int invoke(int (*f)(const u8*, u32, u8*, u16*, u32), const operands& in, const outputs& out)
{
    return f(in.data, in.size, out.bytes, out.short_length, in.a);
}
int invoke(int (*f)(const u8*, int, const u8*, u32), const operands& in, const outputs&)
{
    return f(in.data, static_cast<int>(in.size), in.more, in.more_size);
}

template <auto Function>
int call(const operands& in, const outputs& out)
{
    return invoke(Function, in, out);
}

// clang-format off
constexpr request_row rows[] = {
    {0x01, "tcl_open", call<kt_rfid_tcl_open>, nothing, gives::result},
    {0x02, "tcl_close", call<kt_rfid_tcl_close>, nothing, gives::nothing},
    {0x03, "tcl_exchange", call<kt_rfid_tcl_exchange>, bare, gives::place},
    {0x0A, "mfcl_open", call<kt_rfid_mfcl_open>, nothing, gives::result},
    {0x0B, "mfcl_close", call<kt_rfid_mfcl_close>, nothing, gives::nothing},
    {0x0C, "mfcl_atqa", call<kt_rfid_mfcl_atqa>, nothing, gives::number},
    {0x0D, "mfcl_setkey", call<kt_rfid_mfcl_setkey>, key, gives::nothing},
    {0x0E, "mfcl_auth", call<kt_rfid_mfcl_auth>, key_and_block, gives::result},
    {0x0F, "mfcl_read", call<kt_rfid_mfcl_read>, page, gives::block},
    {0x10, "mfcl_write", call<kt_rfid_mfcl_write>, written, gives::result},
    {0x11, "mfcl_increment", call<kt_rfid_mfcl_increment>, value, gives::result},
    {0x12, "mfcl_decrement", call<kt_rfid_mfcl_decrement>, value, gives::result},
    {0x13, "mfcl_transfer", call<kt_rfid_mfcl_transfer>, page, gives::result},
    {0x14, "mfcl_restore", call<kt_rfid_mfcl_restore>, page, gives::result},
    {0x15, "rid_open", call<kt_rfid_rid_open>, nothing, gives::result},
    {0x16, "rid_close", call<kt_rfid_rid_close>, nothing, gives::result},
    {0x17, "rid_exchange", call<kt_rfid_rid_exchange>, bare, gives::place},
    {0x1E, "felica_open", call<kt_rfid_felica_open>, nothing, gives::result},
    {0x1F, "felica_close", call<kt_rfid_felica_close>, nothing, gives::result},
    {0x20, "felica_exchange", call<kt_rfid_felica_exchange>, written, gives::packet},
    {0x21, "mful_c_open", call<kt_rfid_mful_c_open>, nothing, gives::result},
    {0x22, "mful_c_close", call<kt_rfid_mful_c_close>, nothing, gives::nothing},
    {0x23, "mful_c_read", call<kt_rfid_mful_c_read>, page, gives::bytes},
    {0x24, "mful_c_write", call<kt_rfid_mful_c_write>, written, gives::result},
    {0x25, "mful_c_compat_write", call<kt_rfid_mful_c_compat_write>, written, gives::result},
    {0x26, "mful_c_auth1", call<kt_rfid_mful_c_auth1>, nothing, gives::bytes},
    {0x27, "mful_c_auth2", call<kt_rfid_mful_c_auth2>, bare, gives::bytes},
    {0x28, "ntag21x_open", call<kt_rfid_ntag21x_open>, nothing, gives::result},
    {0x29, "ntag21x_close", call<kt_rfid_ntag21x_close>, nothing, gives::nothing},
    {0x2A, "ntag21x_read", call<kt_rfid_ntag21x_read>, page, gives::bytes},
    {0x2B, "ntag21x_fast_read", call<kt_rfid_ntag21x_fast_read>, pages, gives::bytes},
    {0x2C, "ntag21x_write", call<kt_rfid_ntag21x_write>, written, gives::result},
    {0x2D, "ntag21x_compat_write", call<kt_rfid_ntag21x_compat_write>, written, gives::result},
    {0x2E, "ntag21x_read_cnt", call<kt_rfid_ntag21x_read_cnt>, page, gives::bytes},
    {0x2F, "ntag21x_pwd_auth", call<kt_rfid_ntag21x_pwd_auth>, bare, gives::bytes},
    {0x30, "ntag21x_read_sig", call<kt_rfid_ntag21x_read_sig>, nothing, gives::bytes},
    {0x31, "ntag21x_getversion", call<kt_rfid_ntag21x_getversion>, nothing, gives::bytes},
    {0x33, "probe", call<kt_rfid_probe>, nothing, gives::card_type},
    {0x34, "get_sak", call<kt_rfid_get_sak>, nothing, gives::low_byte},
    {0x35, "getuid", call<kt_rfid_getuid>, nothing, gives::uid},
    {0x36, "get_atqa", call<kt_rfid_get_atqa>, nothing, gives::identification},
    {0x37, "get_atqb", call<kt_rfid_get_atqb>, nothing, gives::identification},
    {0x38, "get_rats", call<kt_rfid_get_rats>, nothing, gives::identification},
    {0x39, "get_attrib", call<kt_rfid_get_attrib>, nothing, gives::identification},
    {0x3C, "setpower", call<kt_rfid_setpower>, page, gives::result},
    {0x3D, "typeA_config", call<kt_rfid_typeA_config>, two_words, gives::result},
    {0x3E, "typeB_config", call<kt_rfid_typeB_config>, three_words, gives::result},
    {0x3F, "mful_ev1_open", call<kt_rfid_mful_ev1_open>, nothing, gives::result},
    {0x40, "mful_ev1_close", call<kt_rfid_mful_ev1_close>, nothing, gives::nothing},
    {0x41, "mful_ev1_getversion", call<kt_rfid_mful_ev1_getversion>, nothing, gives::bytes},
    {0x42, "mful_ev1_read", call<kt_rfid_mful_ev1_read>, page, gives::bytes},
    {0x43, "mful_ev1_fast_read", call<kt_rfid_mful_ev1_fast_read>, pages, gives::bytes},
    {0x44, "mful_ev1_write", call<kt_rfid_mful_ev1_write>, written, gives::result},
    {0x45, "mful_ev1_compat_write", call<kt_rfid_mful_ev1_compat_write>, written, gives::result},
    {0x46, "mful_ev1_read_cnt", call<kt_rfid_mful_ev1_read_cnt>, page, gives::bytes},
    {0x47, "mful_ev1_incr_cnt", call<kt_rfid_mful_ev1_incr_cnt>, written, gives::result},
    {0x48, "mful_ev1_pwd_auth", call<kt_rfid_mful_ev1_pwd_auth>, bare, gives::bytes},
    {0x49, "mful_ev1_read_sig", call<kt_rfid_mful_ev1_read_sig>, nothing, gives::bytes},
    {0x4A, "mful_ev1_check_tearing_event", call<kt_rfid_mful_ev1_check_tearing_event>, page, gives::bytes},
    {0x4B, "mful_ev1_vcsl", call<kt_rfid_mful_ev1_vcsl>, two_pieces, gives::bytes},
    {0x4C, "emulate_init", call<kt_rfid_emulate_init>, nothing, gives::result},
    {0x4D, "emulate_config", call<kt_rfid_emulate_config>, emulated, gives::result},
    {0x4E, "emulate_process", call<kt_rfid_emulate_process>, nothing, gives::result},
    {0x4F, "emulate_deinit", call<kt_rfid_emulate_deinit>, nothing, gives::result},
    {0x56, "hce_set_ndef", call<kt_rfid_hce_set_ndef>, message, gives::result},
    {0x57, "hce_open", call<kt_rfid_hce_open>, nothing, gives::result},
    {0x58, "hce_close", call<kt_rfid_hce_close>, nothing, gives::result},
};
// clang-format on

} // namespace

std::span<const request_row> request_rows()
{
    return rows;
}

const request_row& row_of(int number)
{
    for (const request_row& row : rows)
        if (row.number == number)
            return row;
    throw std::out_of_range("no such row");
}

void nothing(wire_record&, const operands&) {}

void page(wire_record& sent, const operands& in)
{
    sent.parameter(in.a);
}

void pages(wire_record& sent, const operands& in)
{
    sent.parameter((in.a + in.b) * 0x10000);
}

void bare(wire_record& sent, const operands& in)
{
    sent.transmit(in.data, in.size).transmit_length(in.size);
}

void written(wire_record& sent, const operands& in)
{
    bare(sent, in);
    sent.parameter(in.a);
}

void message(wire_record& sent, const operands& in)
{
    sent.transmit(in.data, in.size).parameter(in.size);
}

void two_pieces(wire_record& sent, const operands& in)
{
    sent.transmit(in.data, in.size).put(in.size, in.more, in.more_size).parameter((in.size + in.more_size) * 0x10000);
}

void key(wire_record& sent, const operands& in)
{
    sent.transmit(in.data, 6).transmit_length(6);
}

void key_and_block(wire_record& sent, const operands& in)
{
    sent.put_word(0, in.a).put_word(4, in.b).transmit_length(8);
}

void value(wire_record& sent, const operands& in)
{
    sent.put_word(0, in.b).transmit_length(4).parameter(in.a);
}

void two_words(wire_record& sent, const operands& in)
{
    sent.receive_length(in.a).transmit_length(in.b);
}

void three_words(wire_record& sent, const operands& in)
{
    two_words(sent, in);
    sent.parameter(in.c);
}

void emulated(wire_record& sent, const operands& in)
{
    sent.put(0, std::string(1160, '\0').data(), 1160);
    sent.put(0, in.data, in.size).put_word(128, in.size);
    sent.put(132, in.more, in.more_size * std::size_t{4}).put_word(1156, in.more_size);
}

bool takes_data(const request_row& row)
{
    return row.set == bare || row.set == written || row.set == message;
}

operands sample(const request_row& row)
{
    operands in = {.a = 0x8192A3B4, .b = 0x05162738, .c = 0xE9FA0B1C};
    const bool has_more = row.set == two_pieces || row.set == emulated;
    if (takes_data(row) || has_more || row.set == key) {
        in.data = plenty();
        in.size = 37;
    }
    if (has_more) {
        in.more = plenty() + 100;
        in.more_size = 11;
    }
    return in;
}

const std::uint8_t* plenty()
{
    static const auto bytes = [] {
        std::array<std::uint8_t, 2048> made{};
        for (std::size_t i = 0; i < made.size(); ++i)
            made[i] = static_cast<std::uint8_t>(0xA7 + i * 5 + i / 256 * 17);
        return made;
    }();
    return bytes.data();
}

} // namespace kt::tests
