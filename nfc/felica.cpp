// FeliCa.
#include "kt_driver/nfc_cards.h"
#include "nfc/reader.h"

using namespace kt::nfc;

int kt_rfid_felica_open(void)
{
    return issue(request::felica_open);
}

int kt_rfid_felica_close(void)
{
    return issue(request::felica_close);
}

int kt_rfid_felica_exchange(const uint8_t* cmd, uint32_t len, uint8_t* resp, uint16_t* resp_len, uint32_t param)
{
    if (!fits(cmd, len) || resp == nullptr || resp_len == nullptr)
        return kt::refuse(EINVAL);
    transmit(cmd, len);
    record.parameter = param;
    std::uint32_t length = 0;
    const int result = read_into(request::felica_exchange, resp, &length);
    if (result >= 0)
        *resp_len = static_cast<std::uint16_t>(length);
    return result;
}
