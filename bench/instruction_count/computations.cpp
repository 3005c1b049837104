// Makes one kind of computation in memory a number of times, so that an instruction counter can tell what one takes.
//
// usage: computations KIND COUNT
#include "kt_driver/crc32.h"
#include "kt_driver/fifo.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <zlib.h>

namespace {

constexpr unsigned short_length = 64;
constexpr unsigned odd_length = 61; // in a ring, what follows does not begin at a word
constexpr unsigned long_length = 65536;

alignas(8) unsigned char data[long_length];
alignas(8) unsigned char storage[1024];
kt_sfifo fifo = {sizeof storage, storage, storage, storage, nullptr};

/** Keeps the compiler from leaving a computation out, and from knowing what it is given. */
template <typename Value>
Value unknown(Value value)
{
    asm volatile("" : "+r"(value) : : "memory");
    return value;
}

bool checksum_short()
{
    return unknown(kt_crc32(data, unknown(short_length))) != 0;
}

bool checksum_long()
{
    return unknown(kt_crc32(data, unknown(long_length))) != 0;
}

bool zlib_short()
{
    return unknown(crc32(0, data, unknown(short_length))) != 0;
}

bool zlib_long()
{
    return unknown(crc32(0, data, unknown(long_length))) != 0;
}

bool passed_on(unsigned length)
{
    return kt_sfifo_put(unknown(&fifo), unknown(data), unknown(length)) == length &&
           kt_sfifo_get(unknown(&fifo), unknown(data), unknown(length)) == length;
}

bool copies()
{
    std::memcpy(unknown(storage), unknown(data), unknown(short_length));
    std::memcpy(unknown(data), unknown(storage), unknown(short_length));
    return true;
}

bool through_fifo()
{
    return passed_on(short_length);
}

/** At the places where a ring would hold the bytes, for an odd one is harder to copy to. */
bool odd_copies()
{
    static unsigned place;
    std::memcpy(unknown(storage + place), unknown(data), unknown(odd_length));
    std::memcpy(unknown(data), unknown(storage + place), unknown(odd_length));
    place = (place + odd_length) % (sizeof storage - odd_length);
    return true;
}

bool odd_through_fifo()
{
    return passed_on(odd_length);
}

const struct {
    const char* name;
    bool (*once)();
} kinds[] = {
    {"checksum_short", checksum_short},
    {"checksum_long", checksum_long},
    {"zlib_short", zlib_short},
    {"zlib_long", zlib_long},
    {"copies", copies},
    {"through_fifo", through_fifo},
    {"odd_copies", odd_copies},
    {"odd_through_fifo", odd_through_fifo},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: computations KIND COUNT\n", stderr);
        return 2;
    }
    for (unsigned at = 0; at < sizeof data; ++at)
        data[at] = static_cast<unsigned char>(at * 37 >> 3);
    for (const auto& kind : kinds) {
        if (std::strcmp(kind.name, argv[1]) != 0)
            continue;
        for (long left = std::atol(argv[2]); left > 0; --left) {
            if (!kind.once()) {
                std::fprintf(stderr, "computations: %s failed\n", kind.name);
                return 1;
            }
        }
        return 0;
    }
    std::fprintf(stderr, "computations: no kind \"%s\"\n", argv[1]);
    return 2;
}
