// Random numbers from the C library's generator.
#include "base/failure.h"
#include "kt_driver/base.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int kt_get_random_number(int len, unsigned char* buf)
{
    if (len % 4 != 0) {
        std::puts("Error len must be 4 align");
        return kt::refuse(EINVAL);
    }
    if (len > 0 && buf == nullptr)
        return kt::refuse(EINVAL);
    for (int offset = 0; offset < len; offset += 4) {
        // Two calls, in this order: one rand() has 31 bits.
        const std::uint32_t high = static_cast<std::uint32_t>(std::rand()) << 16;
        const std::uint32_t low = static_cast<std::uint32_t>(std::rand()) & 0xFFFF;
        const std::uint32_t value = high + low;
        std::memcpy(buf + offset, &value, sizeof value);
    }
    return 0;
}
