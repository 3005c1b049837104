// The shapes. Each refuses before it touches the record.
#include "nfc/reader.h"

namespace kt::nfc {

int device = -1;
request_record record;

bool received_fits()
{
    if (record.receive_length <= request_record::capacity)
        return true;
    errno = EINVAL;
    return false;
}

int read_into(request what, std::uint8_t* out, std::uint32_t* length)
{
    if (out == nullptr)
        return refuse(EINVAL);
    const int result = issue(what);
    if (result < 0)
        return result;
    if (!received_fits())
        return -1;
    const std::uint32_t received = record.receive_length;
    std::memmove(out, record.receive, received); // an application may hand in what an exchange gave it
    if (length != nullptr)
        *length = received;
    return result;
}

int read_at(request what, std::uint32_t parameter, std::uint8_t* out, std::uint32_t* length)
{
    if (out == nullptr)
        return refuse(EINVAL);
    record.parameter = parameter;
    return read_into(what, out, length);
}

int transceive(request what, const std::uint8_t* data, std::uint32_t size, std::uint8_t* out, std::uint32_t* length)
{
    if (!fits(data, size) || out == nullptr)
        return refuse(EINVAL);
    transmit(data, size);
    return read_into(what, out, length);
}

int write_at(request what, std::uint32_t parameter, const std::uint8_t* data, std::uint32_t size)
{
    if (!fits(data, size))
        return refuse(EINVAL);
    transmit(data, size);
    return issue_with(what, parameter);
}

} // namespace kt::nfc
