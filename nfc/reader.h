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

/** A request with one operand, the parameter. */
inline int issue_with(request what, std::uint32_t parameter)
{
    record.parameter = parameter;
    return issue(what);
}

/** Whatever the driver answers. */
inline int issue_ignored(request what)
{
    (void)issue(what);
    return 0;
}

/** True: @p size bytes at @p data can be transmitted. */
inline bool fits(const void* data, std::uint64_t size)
{
    return size <= request_record::capacity && (data != nullptr || size == 0);
}

/** Places bytes that fit() behind @p offset others. */
inline void place(const void* data, std::size_t size, std::size_t offset = 0)
{
    if (size != 0) // null then, perhaps
        std::memcpy(record.transmit + offset, data, size);
}

/** Bytes that fit(), and how many they are. */
inline void transmit(const void* data, std::uint32_t size)
{
    record.transmit_length = size;
    place(data, size);
}

/** FAST_READ and VCSL carry a sum in the parameter's upper half, where the driver looks for it. */
inline std::uint32_t upper_half(std::uint32_t sum)
{
    return sum << 16;
}

/** False, with EINVAL: more was received than the record holds, which only a faulty driver says. */
bool received_fits();

/** The read shape: without operands, with the parameter, and after bytes to transmit. */
int read_into(request what, std::uint8_t* out, std::uint32_t* length);
int read_at(request what, std::uint32_t parameter, std::uint8_t* out, std::uint32_t* length);
int transceive(request what, const std::uint8_t* data, std::uint32_t size, std::uint8_t* out, std::uint32_t* length);

/** The write shape. */
int write_at(request what, std::uint32_t parameter, const std::uint8_t* data, std::uint32_t size);

} // namespace kt::nfc
