// NTAG21x.
#include "kt_driver/nfc_cards.h"
#include "nfc/reader.h"

using namespace kt::nfc;

int kt_rfid_ntag21x_open(void)
{
    return issue(request::ntag21x_open);
}

int kt_rfid_ntag21x_close(void)
{
    return issue_ignored(request::ntag21x_close);
}

int kt_rfid_ntag21x_getversion(uint8_t* out, uint32_t* len)
{
    return read_into(request::ntag21x_getversion, out, len);
}

int kt_rfid_ntag21x_read(uint32_t page, uint8_t* out, uint32_t* len)
{
    return read_at(request::ntag21x_read, page, out, len);
}

int kt_rfid_ntag21x_fast_read(uint32_t start, uint32_t end, uint8_t* out, uint32_t* len)
{
    return read_at(request::ntag21x_fast_read, upper_half(start + end), out, len);
}

int kt_rfid_ntag21x_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::ntag21x_write, page, data, len);
}

int kt_rfid_ntag21x_compat_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::ntag21x_compat_write, page, data, len);
}

int kt_rfid_ntag21x_read_cnt(uint32_t counter, uint8_t* out, uint32_t* len)
{
    return read_at(request::ntag21x_read_cnt, counter, out, len);
}

int kt_rfid_ntag21x_pwd_auth(const uint8_t* pwd, uint32_t len, uint8_t* pack, uint32_t* pack_len)
{
    return transceive(request::ntag21x_pwd_auth, pwd, len, pack, pack_len);
}

int kt_rfid_ntag21x_read_sig(uint8_t* out, uint32_t* len)
{
    return read_into(request::ntag21x_read_sig, out, len);
}

int kt_rfid_ntag21x_exchange(KT_ANY_ARGUMENTS)
{
    return 0;
}
