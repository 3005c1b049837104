// Mifare Classic.
#include "kt_driver/nfc_cards.h"
#include "nfc/reader.h"

using namespace kt::nfc;

namespace {

/** A change of a value block's number. */
int change_value(request what, std::uint32_t block, std::uint32_t value)
{
    transmit(&value, sizeof value);
    return issue_with(what, block);
}

} // namespace

int kt_rfid_mfcl_open(void)
{
    return issue(request::mfcl_open);
}

int kt_rfid_mfcl_close(void)
{
    return issue_ignored(request::mfcl_close);
}

int kt_rfid_mfcl_atqa(void)
{
    const int result = issue(request::mfcl_atqa);
    return result < 0 ? result : record.receive[0] | record.receive[1] << 8;
}

int kt_rfid_mfcl_setkey(const uint8_t* key)
{
    constexpr std::uint32_t key_size = 6;
    if (key == nullptr)
        return kt::refuse(EINVAL);
    transmit(key, key_size);
    return issue_ignored(request::mfcl_setkey);
}

int kt_rfid_mfcl_auth(uint32_t key_type, uint32_t block)
{
    const std::uint32_t operands[] = {key_type, block};
    transmit(operands, sizeof operands);
    return issue(request::mfcl_auth);
}

int kt_rfid_mfcl_read(uint32_t block, uint8_t* data, uint32_t* len)
{
    constexpr std::uint32_t block_size = 16;
    if (data == nullptr)
        return kt::refuse(EINVAL);
    const int result = issue_with(request::mfcl_read, block);
    if (result < 0)
        return result;
    std::memmove(data, record.receive, block_size);
    if (len != nullptr)
        *len = block_size;
    return result;
}

int kt_rfid_mfcl_write(uint32_t block, const uint8_t* data, uint32_t len)
{
    return write_at(request::mfcl_write, block, data, len);
}

int kt_rfid_mfcl_increment(uint32_t block, uint32_t value)
{
    return change_value(request::mfcl_increment, block, value);
}

int kt_rfid_mfcl_decrement(uint32_t block, uint32_t value)
{
    return change_value(request::mfcl_decrement, block, value);
}

int kt_rfid_mfcl_transfer(uint32_t block)
{
    return issue_with(request::mfcl_transfer, block);
}

int kt_rfid_mfcl_restore(uint32_t block)
{
    return issue_with(request::mfcl_restore, block);
}
