/** Random numbers: how two results of the generator become four bytes. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace kt::tests;

namespace {

using bytes = std::vector<unsigned char>;

/** What the generator gives after srand(@p seed). */
bytes expected_after(unsigned int seed, std::size_t length)
{
    std::srand(seed);
    bytes expected;
    while (expected.size() < length) {
        const std::uint32_t high = static_cast<std::uint32_t>(std::rand()) << 16;
        const std::uint32_t value = high + (static_cast<std::uint32_t>(std::rand()) & 0xFFFF);
        for (const int shift : {0, 8, 16, 24}) // little-endian
            expected.push_back(static_cast<unsigned char>(value >> shift));
    }
    return expected;
}

} // namespace

TEST(RandomNumber, TwoResultsOfTheGeneratorMakeFourBytes)
{
    for (const int length : {4, 8, 12, 16, 1024}) {
        for (const unsigned int seed : {1u, 42u, 4'000'000'000u}) {
            const bytes expected = expected_after(seed, static_cast<std::size_t>(length));
            bytes room(static_cast<std::size_t>(length) + 1, 0xee);
            std::srand(seed);
            int result = -1;
            EXPECT_EQ(printed([&] { result = kt_get_random_number(length, room.data()); }), "");
            EXPECT_EQ(result, 0);
            EXPECT_EQ(room.back(), 0xee);
            room.pop_back();
            EXPECT_EQ(room, expected) << length << ' ' << seed;
        }
    }
}

TEST(RandomNumber, ALengthThatIsNoMultipleOfFourIsAnError)
{
    for (const int length : {1, 2, 3, 5, 6, 7, 9, 1023, -1, -2, -3, -5, 2147483647}) {
        bytes room(16, 0xee);
        std::srand(42);
        int result = 0;
        EXPECT_EQ(printed([&] { result = kt_get_random_number(length, room.data()); }), "Error len must be 4 align\n")
            << length;
        EXPECT_EQ(result, -1) << length;
        EXPECT_EQ(room, bytes(16, 0xee)) << length;

        const int next = std::rand();
        std::srand(42);
        EXPECT_EQ(next, std::rand()); // the generator was not used up
    }
}

TEST(RandomNumber, LengthZeroAndNegativeMultiplesWriteNothing)
{
    for (const int length : {0, -4, -8, -2147483647 - 1}) {
        bytes room(16, 0xee);
        int result = -1;
        EXPECT_EQ(printed([&] { result = kt_get_random_number(length, room.data()); }), "") << length;
        EXPECT_EQ(result, 0) << length;
        EXPECT_EQ(room, bytes(16, 0xee)) << length;
    }
}

TEST(RandomNumber, NoBufferIsRefused)
{
    int result = 0;
    errno = 0;
    const std::string text = printed([&] { result = kt_get_random_number(8, nullptr); });
    const int cause = errno;
    EXPECT_EQ(text, "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EINVAL);
}
