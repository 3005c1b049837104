// Mifare Ultralight EV1.
#include "kt_driver/nfc_cards.h"
#include "nfc/reader.h"

using namespace kt::nfc;

int kt_rfid_mful_ev1_open(void)
{
    return issue(request::mful_ev1_open);
}

int kt_rfid_mful_ev1_close(void)
{
    return issue_ignored(request::mful_ev1_close);
}

int kt_rfid_mful_ev1_getversion(uint8_t* out, uint32_t* len)
{
    return read_into(request::mful_ev1_getversion, out, len);
}

int kt_rfid_mful_ev1_read(uint32_t page, uint8_t* out, uint32_t* len)
{
    return read_at(request::mful_ev1_read, page, out, len);
}

int kt_rfid_mful_ev1_fast_read(uint32_t start, uint32_t end, uint8_t* out, uint32_t* len)
{
    return read_at(request::mful_ev1_fast_read, upper_half(start + end), out, len);
}

int kt_rfid_mful_ev1_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::mful_ev1_write, page, data, len);
}

int kt_rfid_mful_ev1_compat_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::mful_ev1_compat_write, page, data, len);
}

int kt_rfid_mful_ev1_read_cnt(uint32_t counter, uint8_t* out, uint32_t* len)
{
    return read_at(request::mful_ev1_read_cnt, counter, out, len);
}

int kt_rfid_mful_ev1_pwd_auth(const uint8_t* pwd, uint32_t len, uint8_t* pack, uint32_t* pack_len)
{
    return transceive(request::mful_ev1_pwd_auth, pwd, len, pack, pack_len);
}

int kt_rfid_mful_ev1_read_sig(uint8_t* out, uint32_t* len)
{
    return read_into(request::mful_ev1_read_sig, out, len);
}

int kt_rfid_mful_ev1_incr_cnt(uint32_t counter, const uint8_t* data, uint32_t len)
{
    return write_at(request::mful_ev1_incr_cnt, counter, data, len);
}

int kt_rfid_mful_ev1_check_tearing_event(uint32_t counter, uint8_t* out, uint32_t* len)
{
    return read_at(request::mful_ev1_check_tearing_event, counter, out, len);
}

int kt_rfid_mful_ev1_vcsl(const uint8_t* a, uint32_t a_len, const uint8_t* b, uint32_t b_len, uint8_t* out,
                          uint32_t* len)
{
    const std::uint64_t both = std::uint64_t{a_len} + b_len;
    if (!fits(a, a_len) || !fits(b, b_len) || both > request_record::capacity || out == nullptr)
        return kt::refuse(EINVAL);
    place(a, a_len);
    place(b, b_len, a_len);
    return read_at(request::mful_ev1_vcsl, upper_half(static_cast<std::uint32_t>(both)), out, len);
}
