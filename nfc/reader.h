// The reader's descriptor and record, and the shapes in which its functions use them.
#pragma once

#include "base/failure.h"
#include "nfc/request_record.h"
#include "nfc/requests.h"

#include <cstdint>
#include <cstring>
#include <sys/ioctl.h>

namespace kt::nfc {

extern int device;            // "/dev/kt_nfc"; -1 while it is closed
extern request_record record; // what a function does not set keeps the previous request's value

/** One request on the record; what the driver answers. */
inline int issue(request what)
{
    return ioctl(device, static_cast<std::uint32_t>(what), &record);
}

/** True: @p size bytes at @p data can be transmitted. */
inline bool fits(const void* data, std::uint64_t size)
{
    return size <= request_record::most && (data != nullptr || size == 0);
}

/** Bytes to transmit that fit(); the transmit length is a thing of its own. */
inline void put(const void* data, std::size_t size, std::size_t offset = 0)
{
    if (size != 0) // null then, perhaps
        std::memcpy(record.transmit + offset, data, size);
}

/** Refuses a receive length beyond the record, which only a faulty driver gives. */
inline bool received()
{
    if (record.receive_length <= request_record::most)
        return true;
    errno = EINVAL;
    return false;
}

/** The receive data for a caller who has room for all that the driver may give; @p length may be null. */
inline int hand_out(int result, std::uint8_t* out, std::uint32_t* length)
{
    if (result < 0)
        return result;
    if (!received())
        return -1;
    std::memcpy(out, record.receive, record.receive_length);
    if (length != nullptr)
        *length = record.receive_length;
    return result;
}

/** The functions without operands whose result says nothing. */
inline int issue_ignored(request what)
{
    (void)issue(what);
    return 0;
}

/** A request with one operand, the parameter. */
inline int issue_with(request what, std::uint32_t parameter)
{
    record.parameter = parameter;
    return issue(what);
}

/** FAST_READ and VCSL carry a sum in the parameter's upper half, where the driver looks for it. */
inline std::uint32_t upper_half(std::uint32_t sum)
{
    return sum << 16;
}

/** The read shape without operands, and with one. */
int read(request what, std::uint8_t* out, std::uint32_t* length);
int read_at(request what, std::uint32_t parameter, std::uint8_t* out, std::uint32_t* length);

/** The read shape after bytes were transmitted. */
int transceive(request what, const std::uint8_t* data, std::uint32_t size, std::uint8_t* out, std::uint32_t* length);

/** The write shape. */
int write_at(request what, std::uint32_t parameter, const std::uint8_t* data, std::uint32_t size);

} // namespace kt::nfc
