// Makes one kind of the contactless reader's requests a number of times, so that an instruction counter can tell what
// one takes. The kernel's part, and the C library's way to it, are left out: ioctl is this program's own.
//
// usage: requests KIND COUNT
#include "kt_driver/nfc.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>

namespace {

constexpr std::uint32_t setpower = 0xC0044D3C;
constexpr std::size_t receive_length_at = 1028;

std::uint8_t record[1164];
std::uint8_t room[512];
const std::uint8_t page[4] = {1, 2, 3, 4};
const std::uint8_t apdu[5] = {0x00, 0xB0, 0x00, 0x00, 0x10};

bool bare()
{
    return ioctl(-1, setpower, record) == 0;
}

bool plain()
{
    return kt_rfid_ntag21x_open() == 0;
}

bool result_ignored()
{
    return kt_rfid_ntag21x_close() == 0;
}

bool with_parameter()
{
    return kt_rfid_setpower(1) == 0;
}

bool write()
{
    return kt_rfid_ntag21x_write(4, page, sizeof page) == 0;
}

bool read()
{
    std::uint32_t length = 0;
    return kt_rfid_ntag21x_read(4, room, &length) == 0 && length == 16;
}

bool exchange()
{
    std::uint8_t* answer = nullptr;
    std::uint16_t length = 0;
    return kt_rfid_tcl_exchange(apdu, sizeof apdu, &answer, &length) == 0 && length == 16;
}

const struct {
    const char* name;
    bool (*once)();
} kinds[] = {
    {"bare", bare},
    {"plain", plain},
    {"result_ignored", result_ignored},
    {"with_parameter", with_parameter},
    {"write", write},
    {"read", read},
    {"exchange", exchange},
};

} // namespace

/** A driver that answers each request with 16 bytes. */
extern "C" [[gnu::visibility("default")]] int ioctl(int, unsigned long request, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, request);
    constexpr std::uint32_t received = 16;
    std::memcpy(va_arg(arguments, std::uint8_t*) + receive_length_at, &received, sizeof received);
    va_end(arguments);
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: requests KIND COUNT\n", stderr);
        return 2;
    }
    for (const auto& kind : kinds) {
        if (std::strcmp(kind.name, argv[1]) != 0)
            continue;
        for (long left = std::atol(argv[2]); left > 0; --left) {
            if (!kind.once()) {
                std::fprintf(stderr, "requests: %s failed\n", kind.name);
                return 1;
            }
        }
        return 0;
    }
    std::fprintf(stderr, "requests: no kind \"%s\"\n", argv[1]);
    return 2;
}
