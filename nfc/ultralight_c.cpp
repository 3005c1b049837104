// Mifare Ultralight C.
#include "kt_driver/nfc_cards.h"
#include "nfc/reader.h"

using namespace kt::nfc;

int kt_rfid_mful_c_open(void)
{
    return issue(request::mful_c_open);
}

int kt_rfid_mful_c_close(void)
{
    return issue_ignored(request::mful_c_close);
}

int kt_rfid_mful_c_read(uint32_t page, uint8_t* out, uint32_t* len)
{
    return read_at(request::mful_c_read, page, out, len);
}

int kt_rfid_mful_c_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::mful_c_write, page, data, len);
}

int kt_rfid_mful_c_compat_write(uint32_t page, const uint8_t* data, uint32_t len)
{
    return write_at(request::mful_c_compat_write, page, data, len);
}

int kt_rfid_mful_c_auth1(uint8_t* out, uint32_t* len)
{
    return read_into(request::mful_c_auth1, out, len);
}

int kt_rfid_mful_c_auth2(const uint8_t* in, uint32_t len, uint8_t* out, uint32_t* out_len)
{
    return transceive(request::mful_c_auth2, in, len, out, out_len);
}
