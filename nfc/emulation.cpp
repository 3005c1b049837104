// The reader as a card: card emulation, and the message that a phone reads from it.
#include "kt_driver/nfc_emulation.h"
#include "nfc/reader.h"

#include <cstdio>

using namespace kt::nfc;

int kt_rfid_emulate_init(void)
{
    return issue(request::emulate_init);
}

int kt_rfid_emulate_config(const uint8_t* header, int header_len, const uint8_t* blocks, uint32_t block_count)
{
    if (header_len > static_cast<int>(emulation_record::header_size) || block_count > emulation_record::most_blocks) {
        (void)std::printf("param error ");
        return 1;
    }
    if (header_len < 0 || (header == nullptr && header_len != 0) || (blocks == nullptr && block_count != 0))
        return kt::refuse(EINVAL);

    emulation_record configured{};
    if (header_len != 0)
        std::memcpy(configured.header, header, static_cast<std::size_t>(header_len));
    configured.header_length = header_len;
    if (block_count != 0)
        std::memcpy(configured.blocks, blocks, block_count * emulation_record::block_size);
    (void)std::printf("block_cap=%d\n", static_cast<int>(block_count));
    configured.block_count = block_count;

    std::memcpy(&record, &configured, sizeof configured);
    return issue(request::emulate_config);
}

int kt_rfid_emulate_process(void)
{
    return issue(request::emulate_process);
}

int kt_rfid_emulate_deinit(void)
{
    return issue(request::emulate_deinit);
}

int kt_rfid_hce_set_ndef(const uint8_t* ndef, uint32_t len)
{
    if (!fits(ndef, len))
        return kt::refuse(EINVAL);
    place(ndef, len);
    return issue_with(request::hce_set_ndef, len);
}

int kt_rfid_hce_open(void)
{
    return issue(request::hce_open);
}

int kt_rfid_hce_close(void)
{
    return issue(request::hce_close);
}
