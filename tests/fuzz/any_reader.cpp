/** The driver is interposed where the library calls the kernel: its ioctl is this one. */
#include "tests/fuzz/any_reader.h"

#include "nfc/reader.h"

#include <cerrno>
#include <cstdarg>

namespace kt::fuzz {

std::array<std::uint8_t, record_size> held;
answer next;
unsigned requests = 0;
unsigned last_number = 0;

void put32(std::size_t offset, std::uint32_t value)
{
    std::memcpy(held.data() + offset, &value, sizeof value);
}

std::uint32_t held32(std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, held.data() + offset, sizeof value);
    return value;
}

answer any_answer(FuzzedDataProvider& input)
{
    answer chosen;
    chosen.result = input.ConsumeBool() ? 0 : input.ConsumeIntegral<std::int8_t>();
    if (input.ConsumeProbability<float>() < 0.05F)
        chosen.result = input.ConsumeIntegral<int>();
    chosen.error = input.ConsumeBool() ? EROFS : input.ConsumeIntegralInRange(1, 133);
    for (int left = input.ConsumeIntegralInRange(0, 3); left > 0; --left) {
        const auto offset = input.ConsumeIntegralInRange<std::size_t>(0, record_size - 1);
        std::string bytes(input.ConsumeIntegralInRange<std::size_t>(1, record_size - offset), '\0');
        const std::string pattern = input.ConsumeBytesAsString(input.ConsumeIntegralInRange<std::size_t>(1, 16));
        for (std::size_t at = 0; at < bytes.size() && !pattern.empty(); ++at)
            bytes[at] = pattern[at % pattern.size()];
        chosen.written.push_back({offset, bytes});
    }
    if (input.ConsumeBool()) { // a length that is near what the record can have, or far from it
        const std::uint32_t length = input.ConsumeBool() ? input.ConsumeIntegralInRange<std::uint32_t>(0, most + 2)
                                                         : input.ConsumeIntegral<std::uint32_t>();
        chosen.written.push_back({receive_length, std::string(reinterpret_cast<const char*>(&length), sizeof length)});
    }
    return chosen;
}

void start_anew(FuzzedDataProvider& input)
{
    constexpr int open_descriptor = 1000; // nothing of this process has it
    nfc::device = input.ConsumeIntegralInRange(0, 15) == 0 ? -1 : open_descriptor;
    nfc::record = {};
    held = {};
}

} // namespace kt::fuzz

using namespace kt::fuzz;

/** In the kernel's place. */
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, request);
    auto* const record = va_arg(arguments, std::uint8_t*);
    va_end(arguments);
    expect(fd == kt::nfc::device && (request & ~0xFFUL) == 0xC0044D00UL);
    expect(record == reinterpret_cast<std::uint8_t*>(&kt::nfc::record));
    expect(std::memcmp(record, held.data(), record_size) == 0); // what a function does not set, it keeps
    ++requests;
    last_number = request & 0xFF;
    for (const answer::piece& piece : next.written) {
        piece.bytes.copy(reinterpret_cast<char*>(record) + piece.offset, piece.bytes.size());
        piece.bytes.copy(reinterpret_cast<char*>(held.data()) + piece.offset, piece.bytes.size());
    }
    if (next.result < 0)
        errno = next.error;
    return next.result;
}
