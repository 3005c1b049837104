// The checksum that applications reckon over their serial frames.
#include "kt_driver/crc32.h"

#include "serial/crc32_ways.h"

#include <atomic>
#include <cerrno>

namespace {

#if defined(__x86_64__) || defined(__i386__)

kt::crc32_way choose;

/** The fastest way that this processor has; the first call finds it out. */
constinit std::atomic<kt::crc32_way*> way{choose};

std::uint32_t choose(const std::uint8_t* data, unsigned length)
{
    kt::crc32_way* fastest = kt::crc32_by_table;
    if (kt::processor_folds_wide())
        fastest = kt::crc32_by_wide_folding;
    else if (kt::processor_folds())
        fastest = kt::crc32_by_folding;
    // Threads that come here at the same time find the same.
    way.store(fastest, std::memory_order_relaxed);
    return fastest(data, length);
}

std::uint32_t checksum(const std::uint8_t* data, unsigned length)
{
    return way.load(std::memory_order_relaxed)(data, length);
}

#else

constexpr auto checksum = kt::crc32_by_table;

#endif

} // namespace

uint32_t kt_crc32(const void* data, unsigned length)
{
    if (data == nullptr) {
        if (length > 0)
            errno = EINVAL;
        return 0;
    }
    return checksum(static_cast<const std::uint8_t*>(data), length);
}
