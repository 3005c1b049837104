/** The checksum of frames, as applications call it. */
#include <kt_driver/crc32.h>

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>
#include <zlib.h>

namespace {

std::vector<std::uint8_t> random_bytes(std::size_t count)
{
    std::mt19937 numbers(4);
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(numbers());
    return bytes;
}

std::uint32_t by_zlib(const std::uint8_t* data, unsigned length)
{
    return static_cast<std::uint32_t>(crc32(0, data, length));
}

} // namespace

TEST(Crc32, HasTheStandardsCheckValue)
{
    EXPECT_EQ(kt_crc32("123456789", 9), 0xCBF43926);
}

TEST(Crc32, OfNoBytesIsZero)
{
    errno = 0;
    EXPECT_EQ(kt_crc32("123456789", 0), 0u);
    EXPECT_EQ(kt_crc32(nullptr, 0), 0u);
    EXPECT_EQ(errno, 0);
}

TEST(Crc32, OfNullIsRefused)
{
    errno = 0;
    EXPECT_EQ(kt_crc32(nullptr, 1), 0u);
    EXPECT_EQ(errno, EINVAL);
}

TEST(Crc32, OfEveryLengthAtEveryAlignmentIsThatOfZlib)
{
    const std::vector<std::uint8_t> bytes = random_bytes(1024 + 16);
    for (unsigned offset = 0; offset < 16; ++offset) {
        for (unsigned length = 1; length <= 1024; ++length)
            ASSERT_EQ(kt_crc32(&bytes[offset], length), by_zlib(&bytes[offset], length)) << length << " at " << offset;
    }
}

TEST(Crc32, OfMegabytesIsThatOfZlib)
{
    const std::vector<std::uint8_t> bytes = random_bytes(5'000'000);
    for (const unsigned length : {65'535u, 65'536u, 1'000'003u, 4'999'999u}) {
        EXPECT_EQ(kt_crc32(bytes.data(), length), by_zlib(bytes.data(), length)) << length;
        EXPECT_EQ(kt_crc32(&bytes[1], length), by_zlib(&bytes[1], length)) << length << " at an odd address";
    }
}

TEST(Crc32, OfOneChangedBitIsAnother)
{
    std::vector<std::uint8_t> bytes = random_bytes(300);
    const std::uint32_t before = kt_crc32(bytes.data(), 300);
    for (std::uint8_t& byte : bytes) {
        byte ^= 0x10;
        EXPECT_NE(kt_crc32(bytes.data(), 300), before);
        byte ^= 0x10;
    }
}

TEST(Crc32, MayBeAskedForTheFirstTimeByManyThreads)
{
    const std::vector<std::uint8_t> bytes = random_bytes(4096);
    const std::uint32_t expected = by_zlib(bytes.data(), 4096);
    std::vector<std::uint32_t> found(8);
    {
        std::vector<std::jthread> threads;
        for (std::uint32_t& own : found)
            threads.emplace_back([&] { own = kt_crc32(bytes.data(), 4096); });
    }
    EXPECT_EQ(found, std::vector<std::uint32_t>(8, expected));
}
