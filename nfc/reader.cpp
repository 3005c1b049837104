// The shapes. Each refuses before it touches the record.
#include "nfc/reader.h"

namespace kt::nfc {

int device = -1;
request_record record;

int read(request what, std::uint8_t* out, std::uint32_t* length)
{
    if (out == nullptr)
        return refuse(EINVAL);
    return hand_out(issue(what), out, length);
}

int read_at(request what, std::uint32_t parameter, std::uint8_t* out, std::uint32_t* length)
{
    if (out == nullptr)
        return refuse(EINVAL);
    return hand_out(issue_with(what, parameter), out, length);
}

int transceive(request what, const std::uint8_t* data, std::uint32_t size, std::uint8_t* out, std::uint32_t* length)
{
    if (!fits(data, size) || out == nullptr)
        return refuse(EINVAL);
    put(data, size);
    record.transmit_length = size;
    return hand_out(issue(what), out, length);
}

int write_at(request what, std::uint32_t parameter, const std::uint8_t* data, std::uint32_t size)
{
    if (!fits(data, size))
        return refuse(EINVAL);
    put(data, size);
    record.transmit_length = size;
    return issue_with(what, parameter);
}

} // namespace kt::nfc
