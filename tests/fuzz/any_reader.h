/** A driver of the contactless reader that answers as the fuzzer's input says, and callers with exactly the room that
 * the reader's functions need. */
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <string>
#include <vector>

namespace kt::fuzz {

constexpr std::size_t transmit = 0, transmit_length = 512, receive = 516, receive_length = 1028, parameter = 1032;
constexpr std::size_t record_size = 1164;
constexpr std::uint32_t most = 512;

inline void expect(bool so)
{
    if (!so)
        std::abort();
}

/** What the record must hold when a request comes, and what the driver left in it afterwards. */
extern std::array<std::uint8_t, record_size> held;
void put32(std::size_t offset, std::uint32_t value);
std::uint32_t held32(std::size_t offset);

/** How the driver answers a request. */
struct answer {
    struct piece {
        std::size_t offset;
        std::string bytes;
    };
    int result = 0;
    int error = 0;
    std::vector<piece> written{};
};
answer any_answer(FuzzedDataProvider& input);

extern answer next;
extern unsigned requests; // since it was set to 0
extern unsigned last_number;

/** Both records as at the program's start; the reader is closed, now and then. */
void start_anew(FuzzedDataProvider& input);

/** An output that ends where the caller's room ends. */
class output {
public:
    output(FuzzedDataProvider& input, std::size_t size)
        : bytes_(input.ConsumeIntegralInRange(0, 31) == 0 ? nullptr : new std::uint8_t[size]), size_(size)
    {
        if (bytes_ != nullptr)
            std::memset(bytes_.get(), marked, size_);
    }
    template <typename Element = std::uint8_t>
    Element* room() const
    {
        return reinterpret_cast<Element*>(bytes_.get());
    }
    explicit operator bool() const { return bytes_ != nullptr; }

    /** Holds these bytes now, and behind them what it held. */
    void expect_begins(const void* bytes, std::size_t size) const
    {
        expect(size <= size_ && (size == 0 || std::memcmp(bytes_.get(), bytes, size) == 0));
        std::uint8_t* const end = bytes_.get() + size_;
        expect(std::all_of(bytes_.get() + size, end, [](std::uint8_t byte) { return byte == marked; }));
    }
    void expect_untouched() const
    {
        if (bytes_ != nullptr)
            expect_begins(nullptr, 0);
    }

private:
    static constexpr std::uint8_t marked = 0xA5;
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_;
};

/** Bytes to transmit: a length that their room need not hold when it must be refused, and perhaps no room at all. */
struct operand {
    operand(FuzzedDataProvider& input, std::uint32_t limit, std::uint32_t unit = 1)
    {
        length = input.ConsumeIntegralInRange<std::uint32_t>(0, limit);
        if (input.ConsumeIntegralInRange(0, 15) == 0)
            length = input.ConsumeBool() ? limit + 1 : input.ConsumeIntegral<std::uint32_t>();
        const std::size_t size = length <= limit ? std::size_t{length} * unit : 1;
        if (input.ConsumeIntegralInRange(0, 15) != 0) {
            bytes.reset(new std::uint8_t[size]);
            for (std::size_t at = 0; at < size; ++at)
                bytes[at] = static_cast<std::uint8_t>(length + at * 7);
        }
        fits = length <= limit && (bytes != nullptr || length == 0);
    }
    void put(std::size_t offset, std::uint32_t unit = 1) const
    {
        if (length != 0)
            std::memcpy(held.data() + offset, bytes.get(), std::size_t{length} * unit);
    }

    std::unique_ptr<std::uint8_t[]> bytes{};
    std::uint32_t length = 0;
    bool fits = false;
};

} // namespace kt::fuzz
