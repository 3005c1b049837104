/** Fuzzes the contactless reader's functions against drivers that answer anything: any result, any errno, any bytes
 * over the whole record. What each must send and hand out is told a second time here, by offsets in the record. */
#include "kt_driver/nfc.h"
#include "nfc/reader.h"
#include "tests/fuzz/any_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

using namespace kt::fuzz;

namespace {

/** Makes the call; it must make this request, or none. */
template <typename Call>
int requested(unsigned number, Call call)
{
    requests = 0;
    errno = 0;
    const int result = call();
    const int error = errno;
    expect(requests == (number == 0 ? 0U : 1U) && (number == 0 || last_number == number));
    expect(std::memcmp(&kt::nfc::record, held.data(), record_size) == 0);
    errno = error;
    return result;
}

template <typename Call>
void refused(Call call)
{
    expect(requested(0, call) == -1 && errno == EINVAL);
}

/** True: it succeeded. False: it failed as the driver did, or as it must when the driver is beyond belief. */
template <typename Call>
bool succeeds(unsigned number, Call call, bool by_length)
{
    const int result = requested(number, call);
    if (next.result < 0)
        expect(result == next.result && errno == next.error);
    else if (by_length && held32(receive_length) > most)
        expect(result == -1 && errno == EINVAL);
    else
        return true;
    return false;
}

void plain(unsigned number, int (*call)())
{
    expect(requested(number, call) == next.result);
}

void ignored(unsigned number, int (*call)())
{
    expect(requested(number, call) == 0);
}

void no_request(int (*call)())
{
    expect(requested(0, call) == 0);
}

/** The read shape, after the record was prepared; what is @p refusable is refused for that, too. */
template <typename Prepare, typename Call>
void reading(FuzzedDataProvider& input, unsigned number, bool refusable, Prepare prepare, Call call)
{
    const output out(input, most);
    const output length(input, sizeof(std::uint32_t));
    const auto now = [&] { return call(out.room(), length.room<std::uint32_t>()); };
    if (refusable || !out) {
        refused(now);
        out.expect_untouched();
        length.expect_untouched();
        return;
    }
    prepare();
    if (!succeeds(number, now, true)) {
        out.expect_untouched();
        length.expect_untouched();
        return;
    }
    const std::uint32_t received = held32(receive_length);
    out.expect_begins(held.data() + receive, received);
    if (length)
        length.expect_begins(&received, sizeof received);
}

void read(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint8_t*, std::uint32_t*))
{
    reading(
        input, number, false, [] {}, call);
}

void read_at(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint32_t, std::uint8_t*, std::uint32_t*))
{
    const auto where = input.ConsumeIntegral<std::uint32_t>();
    reading(
        input, number, false, [&] { put32(parameter, where); },
        [&](std::uint8_t* out, std::uint32_t* length) { return call(where, out, length); });
}

void fast_read(FuzzedDataProvider& input, unsigned number,
               int (*call)(std::uint32_t, std::uint32_t, std::uint8_t*, std::uint32_t*))
{
    const auto start = input.ConsumeIntegral<std::uint32_t>();
    const auto end = input.ConsumeIntegral<std::uint32_t>();
    reading(
        input, number, false, [&] { put32(parameter, (start + end) * 0x10000U); },
        [&](std::uint8_t* out, std::uint32_t* length) { return call(start, end, out, length); });
}

void transceive(FuzzedDataProvider& input, unsigned number,
                int (*call)(const std::uint8_t*, std::uint32_t, std::uint8_t*, std::uint32_t*))
{
    const operand data(input, most);
    reading(
        input, number, !data.fits,
        [&] {
            data.put(transmit);
            put32(transmit_length, data.length);
        },
        [&](std::uint8_t* out, std::uint32_t* length) { return call(data.bytes.get(), data.length, out, length); });
}

void select_virtual_card(FuzzedDataProvider& input)
{
    const operand first(input, most);
    const operand second(input, most);
    const std::uint64_t both = std::uint64_t{first.length} + second.length;
    reading(
        input, 0x4B, !first.fits || !second.fits || both > most,
        [&] {
            first.put(transmit);
            second.put(transmit + first.length);
            put32(parameter, static_cast<std::uint32_t>(both * 0x10000U));
        },
        [&](std::uint8_t* out, std::uint32_t* length) {
            return kt_rfid_mful_ev1_vcsl(first.bytes.get(), first.length, second.bytes.get(), second.length, out,
                                         length);
        });
}

void write(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint32_t, const std::uint8_t*, std::uint32_t))
{
    const auto where = input.ConsumeIntegral<std::uint32_t>();
    const operand data(input, most);
    const auto now = [&] { return call(where, data.bytes.get(), data.length); };
    if (!data.fits)
        return refused(now);
    put32(parameter, where);
    put32(transmit_length, data.length);
    data.put(transmit);
    expect(requested(number, now) == next.result);
}

void with_parameter(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint32_t))
{
    const auto value = input.ConsumeIntegral<std::uint32_t>();
    put32(parameter, value);
    expect(requested(number, [&] { return call(value); }) == next.result);
}

void identification(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint8_t*))
{
    const output out(input, most);
    if (!out)
        return refused([&] { return call(nullptr); });
    int result = 0;
    if (!succeeds(
            number, [&] { return result = call(out.room()); }, true))
        return out.expect_untouched();
    expect(static_cast<std::uint32_t>(result) == held32(receive_length));
    out.expect_begins(held.data() + receive, held32(receive_length));
}

void uid(FuzzedDataProvider& input)
{
    const output out(input, 16);
    if (!out)
        return refused([] { return kt_rfid_getuid(nullptr); });
    int result = 0;
    if (!succeeds(
            0x35, [&] { return result = kt_rfid_getuid(out.room()); }, false))
        return out.expect_untouched();
    expect(static_cast<std::uint32_t>(result) == std::min(held32(receive_length), 16U));
    out.expect_begins(held.data() + receive, static_cast<std::size_t>(result));
}

void exchange(FuzzedDataProvider& input, unsigned number,
              int (*call)(const std::uint8_t*, std::uint32_t, std::uint8_t**, std::uint16_t*))
{
    const operand apdu(input, most);
    const output where(input, sizeof(std::uint8_t*));
    const output length(input, sizeof(std::uint16_t));
    const auto now = [&] {
        return call(apdu.bytes.get(), apdu.length, where.room<std::uint8_t*>(), length.room<std::uint16_t>());
    };
    if (!apdu.fits || !where || !length) {
        refused(now);
    } else {
        apdu.put(transmit);
        put32(transmit_length, apdu.length);
        if (succeeds(number, now, true)) {
            const auto received = static_cast<std::uint16_t>(held32(receive_length));
            const std::uint8_t* const answered = reinterpret_cast<std::uint8_t*>(&kt::nfc::record) + receive;
            where.expect_begins(&answered, sizeof answered);
            return length.expect_begins(&received, sizeof received);
        }
    }
    where.expect_untouched();
    length.expect_untouched();
}

void felica(FuzzedDataProvider& input)
{
    const operand command(input, most);
    const auto value = input.ConsumeIntegral<std::uint32_t>();
    const output out(input, most);
    const output length(input, sizeof(std::uint16_t));
    const auto now = [&] {
        return kt_rfid_felica_exchange(command.bytes.get(), command.length, out.room(), length.room<std::uint16_t>(),
                                       value);
    };
    if (!command.fits || !out || !length) {
        refused(now);
    } else {
        command.put(transmit);
        put32(transmit_length, command.length);
        put32(parameter, value);
        if (succeeds(0x20, now, true)) {
            const auto received = static_cast<std::uint16_t>(held32(receive_length));
            out.expect_begins(held.data() + receive, received);
            return length.expect_begins(&received, sizeof received);
        }
    }
    out.expect_untouched();
    length.expect_untouched();
}

void tcl_open(FuzzedDataProvider&)
{
    if (kt::nfc::device < 0)
        return expect(requested(0, kt_rfid_tcl_open) == -1 && errno == EBADF);
    const bool read_only = next.result < 0 && next.error == EROFS;
    expect(requested(0x01, kt_rfid_tcl_open) == (read_only ? -30 : next.result));
}

void found_number(unsigned number, int (*call)(), bool failure_is_none)
{
    const int result = requested(number, call);
    expect(result == (next.result >= 0 ? held[parameter] : failure_is_none ? 0 : next.result));
}

void configure_field(FuzzedDataProvider& input, bool type_b)
{
    std::uint32_t words[3] = {};
    for (std::uint32_t& word : words)
        word = input.ConsumeIntegral<std::uint32_t>();
    put32(receive_length, words[0]);
    put32(transmit_length, words[1]);
    if (!type_b)
        return expect(requested(0x3D, [&] { return kt_rfid_typeA_config(words[0], words[1]); }) == next.result);
    put32(parameter, words[2]);
    expect(requested(0x3E, [&] { return kt_rfid_typeB_config(words[0], words[1], words[2]); }) == next.result);
}

void classic_key(FuzzedDataProvider& input)
{
    const output key(input, 6);
    if (!key)
        return refused([] { return kt_rfid_mfcl_setkey(nullptr); });
    std::memcpy(held.data() + transmit, key.room(), 6);
    put32(transmit_length, 6);
    expect(requested(0x0D, [&] { return kt_rfid_mfcl_setkey(key.room()); }) == 0);
}

void classic_authentication(FuzzedDataProvider& input)
{
    const auto type = input.ConsumeIntegral<std::uint32_t>();
    const auto block = input.ConsumeIntegral<std::uint32_t>();
    put32(transmit, type);
    put32(transmit + 4, block);
    put32(transmit_length, 8);
    expect(requested(0x0E, [&] { return kt_rfid_mfcl_auth(type, block); }) == next.result);
}

void classic_read(FuzzedDataProvider& input)
{
    constexpr std::uint32_t block_size = 16;
    const auto block = input.ConsumeIntegral<std::uint32_t>();
    const output out(input, block_size);
    const output length(input, sizeof(std::uint32_t));
    const auto now = [&] { return kt_rfid_mfcl_read(block, out.room(), length.room<std::uint32_t>()); };
    if (!out) {
        refused(now);
        return length.expect_untouched();
    }
    put32(parameter, block);
    if (!succeeds(0x0F, now, false)) {
        out.expect_untouched();
        return length.expect_untouched();
    }
    out.expect_begins(held.data() + receive, block_size);
    if (length)
        length.expect_begins(&block_size, sizeof block_size);
}

void classic_value(FuzzedDataProvider& input, unsigned number, int (*call)(std::uint32_t, std::uint32_t))
{
    const auto block = input.ConsumeIntegral<std::uint32_t>();
    const auto value = input.ConsumeIntegral<std::uint32_t>();
    put32(transmit, value);
    put32(transmit_length, 4);
    put32(parameter, block);
    expect(requested(number, [&] { return call(block, value); }) == next.result);
}

void classic_atqa()
{
    const int result = requested(0x0C, kt_rfid_mfcl_atqa);
    expect(result == (next.result < 0 ? next.result : held[receive] + held[receive + 1] * 256));
}

void emulated_card(FuzzedDataProvider& input)
{
    const operand header(input, 128);
    const operand blocks(input, 256, 4);
    const int header_length = static_cast<int>(header.length);
    const auto now = [&] {
        return kt_rfid_emulate_config(header.bytes.get(), header_length, blocks.bytes.get(), blocks.length);
    };
    if (header_length > 128 || blocks.length > 256)
        return expect(requested(0, now) == 1);
    if (!header.fits || !blocks.fits)
        return refused(now);
    std::fill_n(held.begin(), 1160, std::uint8_t{0});
    header.put(0);
    put32(128, header.length);
    blocks.put(132, 4);
    put32(1156, blocks.length);
    expect(requested(0x4D, now) == next.result);
}

void message_for_a_phone(FuzzedDataProvider& input)
{
    const operand message(input, most);
    const auto now = [&] { return kt_rfid_hce_set_ndef(message.bytes.get(), message.length); };
    if (!message.fits)
        return refused(now);
    message.put(transmit);
    put32(parameter, message.length);
    expect(requested(0x56, now) == next.result);
}

using step = void (*)(FuzzedDataProvider&);
using input = FuzzedDataProvider;
constexpr step steps[] = {
    tcl_open,
    [](input&) { ignored(0x02, kt_rfid_tcl_close); },
    [](input& in) { exchange(in, 0x03, kt_rfid_tcl_exchange); },
    [](input&) { plain(0x0A, kt_rfid_mfcl_open); },
    [](input&) { ignored(0x0B, kt_rfid_mfcl_close); },
    [](input&) { classic_atqa(); },
    classic_key,
    classic_authentication,
    classic_read,
    [](input& in) { write(in, 0x10, kt_rfid_mfcl_write); },
    [](input& in) { classic_value(in, 0x11, kt_rfid_mfcl_increment); },
    [](input& in) { classic_value(in, 0x12, kt_rfid_mfcl_decrement); },
    [](input& in) { with_parameter(in, 0x13, kt_rfid_mfcl_transfer); },
    [](input& in) { with_parameter(in, 0x14, kt_rfid_mfcl_restore); },
    [](input&) { plain(0x15, kt_rfid_rid_open); },
    [](input&) { plain(0x16, kt_rfid_rid_close); },
    [](input& in) { exchange(in, 0x17, kt_rfid_rid_exchange); },
    [](input&) { plain(0x1E, kt_rfid_felica_open); },
    [](input&) { plain(0x1F, kt_rfid_felica_close); },
    felica,
    [](input&) { plain(0x21, kt_rfid_mful_c_open); },
    [](input&) { ignored(0x22, kt_rfid_mful_c_close); },
    [](input& in) { read_at(in, 0x23, kt_rfid_mful_c_read); },
    [](input& in) { write(in, 0x24, kt_rfid_mful_c_write); },
    [](input& in) { write(in, 0x25, kt_rfid_mful_c_compat_write); },
    [](input& in) { read(in, 0x26, kt_rfid_mful_c_auth1); },
    [](input& in) { transceive(in, 0x27, kt_rfid_mful_c_auth2); },
    [](input&) { plain(0x28, kt_rfid_ntag21x_open); },
    [](input&) { ignored(0x29, kt_rfid_ntag21x_close); },
    [](input& in) { read_at(in, 0x2A, kt_rfid_ntag21x_read); },
    [](input& in) { fast_read(in, 0x2B, kt_rfid_ntag21x_fast_read); },
    [](input& in) { write(in, 0x2C, kt_rfid_ntag21x_write); },
    [](input& in) { write(in, 0x2D, kt_rfid_ntag21x_compat_write); },
    [](input& in) { read_at(in, 0x2E, kt_rfid_ntag21x_read_cnt); },
    [](input& in) { transceive(in, 0x2F, kt_rfid_ntag21x_pwd_auth); },
    [](input& in) { read(in, 0x30, kt_rfid_ntag21x_read_sig); },
    [](input& in) { read(in, 0x31, kt_rfid_ntag21x_getversion); },
    [](input&) { no_request([] { return kt_rfid_ntag21x_exchange(); }); },
    [](input&) { found_number(0x33, kt_rfid_probe, true); },
    [](input&) { found_number(0x34, kt_rfid_get_sak, false); },
    uid,
    [](input& in) { identification(in, 0x36, kt_rfid_get_atqa); },
    [](input& in) { identification(in, 0x37, kt_rfid_get_atqb); },
    [](input& in) { identification(in, 0x38, kt_rfid_get_rats); },
    [](input& in) { identification(in, 0x39, kt_rfid_get_attrib); },
    [](input& in) { with_parameter(in, 0x3C, kt_rfid_setpower); },
    [](input& in) { configure_field(in, false); },
    [](input& in) { configure_field(in, true); },
    [](input&) { plain(0x3F, kt_rfid_mful_ev1_open); },
    [](input&) { ignored(0x40, kt_rfid_mful_ev1_close); },
    [](input& in) { read(in, 0x41, kt_rfid_mful_ev1_getversion); },
    [](input& in) { read_at(in, 0x42, kt_rfid_mful_ev1_read); },
    [](input& in) { fast_read(in, 0x43, kt_rfid_mful_ev1_fast_read); },
    [](input& in) { write(in, 0x44, kt_rfid_mful_ev1_write); },
    [](input& in) { write(in, 0x45, kt_rfid_mful_ev1_compat_write); },
    [](input& in) { read_at(in, 0x46, kt_rfid_mful_ev1_read_cnt); },
    [](input& in) { write(in, 0x47, kt_rfid_mful_ev1_incr_cnt); },
    [](input& in) { transceive(in, 0x48, kt_rfid_mful_ev1_pwd_auth); },
    [](input& in) { read(in, 0x49, kt_rfid_mful_ev1_read_sig); },
    [](input& in) { read_at(in, 0x4A, kt_rfid_mful_ev1_check_tearing_event); },
    select_virtual_card,
    [](input&) { plain(0x4C, kt_rfid_emulate_init); },
    emulated_card,
    [](input&) { plain(0x4E, kt_rfid_emulate_process); },
    [](input&) { plain(0x4F, kt_rfid_emulate_deinit); },
    message_for_a_phone,
    [](input&) { plain(0x57, kt_rfid_hce_open); },
    [](input&) { plain(0x58, kt_rfid_hce_close); },
    [](input&) { no_request(kt_rfid_getatr); },
    [](input&) { no_request(kt_rfid_gettype); },
    [](input&) { no_request(kt_rfid_hal_config); },
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    expect(std::freopen("/dev/null", "w", stdout) != nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    start_anew(input);
    while (input.remaining_bytes() > 0) {
        const step chosen = steps[input.ConsumeIntegralInRange<std::size_t>(0, std::size(steps) - 1)];
        next = any_answer(input);
        chosen(input);
    }
    return 0;
}
