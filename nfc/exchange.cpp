// ISO 14443-4: activating a card, and exchanging APDUs with it.
#include "kt_driver/nfc.h"
#include "nfc/reader.h"

#include <cstdio>

using namespace kt::nfc;

namespace {

int exchange(request what, const std::uint8_t* apdu, std::uint32_t len, std::uint8_t** resp, std::uint16_t* resp_len)
{
    if (!fits(apdu, len) || resp == nullptr || resp_len == nullptr)
        return kt::refuse(EINVAL);
    transmit(apdu, len);
    const int result = issue(what);
    if (result < 0)
        return result;
    if (!received_fits())
        return -1;
    *resp = record.receive;
    *resp_len = static_cast<std::uint16_t>(record.receive_length);
    return result;
}

} // namespace

int kt_rfid_tcl_open(void)
{
    if (device < 0) {
        (void)std::printf("%s nfc fd error\n", __func__);
        return kt::refuse(EBADF);
    }
    constexpr int read_only = -30; // what applications ask for
    const int result = issue(request::tcl_open);
    return result < 0 && errno == EROFS ? read_only : result;
}

int kt_rfid_tcl_close(void)
{
    return issue_ignored(request::tcl_close);
}

int kt_rfid_tcl_exchange(const uint8_t* apdu, uint32_t len, uint8_t** resp, uint16_t* resp_len)
{
    return exchange(request::tcl_exchange, apdu, len, resp, resp_len);
}

int kt_rfid_rid_open(void)
{
    return issue(request::rid_open);
}

int kt_rfid_rid_close(void)
{
    return issue(request::rid_close);
}

int kt_rfid_rid_exchange(const uint8_t* apdu, uint32_t len, uint8_t** resp, uint16_t* resp_len)
{
    return exchange(request::rid_exchange, apdu, len, resp, resp_len);
}
