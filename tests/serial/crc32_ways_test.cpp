/** Each way to reckon a checksum that this processor has, also those that the library does not choose here. */
#include "serial/crc32_polynomial.h"
#include "serial/crc32_table.h"
#include "serial/crc32_ways.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace {

struct named_way {
    std::string name;
    kt::crc32_way* checksum;
};

std::vector<named_way> ways_of_this_processor()
{
    std::vector<named_way> ways = {{"table", kt::crc32_by_table}};
#if defined(__x86_64__) || defined(__i386__)
    if (kt::processor_folds())
        ways.push_back({"folding", kt::crc32_by_folding});
    if (kt::processor_folds_wide())
        ways.push_back({"wide_folding", kt::crc32_by_wide_folding});
#endif
    return ways;
}

/** Memory between two pages that end a program which reads them. */
class fenced_memory {
public:
    fenced_memory() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
    {
        void* const all = mmap(nullptr, size() + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (all == MAP_FAILED)
            throw std::bad_alloc();
        begin_ = static_cast<std::uint8_t*>(all) + page_;
        if (mprotect(begin_, size(), PROT_READ | PROT_WRITE) != 0)
            throw std::bad_alloc();
        std::mt19937 numbers(5);
        for (std::uint8_t* byte = begin(); byte != end(); ++byte)
            *byte = static_cast<std::uint8_t>(numbers());
    }
    fenced_memory(const fenced_memory&) = delete;
    fenced_memory& operator=(const fenced_memory&) = delete;
    ~fenced_memory() { (void)munmap(begin_ - page_, size() + 2 * page_); }

    std::uint8_t* begin() const { return begin_; }
    std::uint8_t* end() const { return begin_ + size(); }

private:
    std::size_t size() const { return 16 * page_; }

    std::size_t page_;
    std::uint8_t* begin_;
};

std::uint32_t by_zlib(const std::uint8_t* data, unsigned length)
{
    return static_cast<std::uint32_t>(crc32(0, data, length));
}

class Crc32Way : public testing::TestWithParam<named_way> {};

} // namespace

TEST(Crc32Table, HoldsTheStandardsEntries)
{
    EXPECT_EQ(kt::kt_crc32tab[0], 0u);
    EXPECT_EQ(kt::kt_crc32tab[1], 0x77073096u);
    EXPECT_EQ(kt::kt_crc32tab[128], 0xEDB88320u);
    EXPECT_EQ(kt::kt_crc32tab[255], 0x2D02EF8Du);
    ASSERT_EQ(std::size(kt::kt_crc32tab), 256u);
    for (unsigned byte = 0; byte < 256; ++byte)
        EXPECT_EQ(kt::kt_crc32tab[byte], get_crc_table()[byte]) << byte;
}

TEST(Crc32Polynomial, DividesItsReciprocalsProductLeavingLessThanItself)
{
    // 0x104C11DB7 and floor(x^64 / 0x104C11DB7) = 0x104D101DF, both read from their other end.
    EXPECT_EQ(kt::whole_crc32_polynomial(), 0x1DB710641u);
    EXPECT_EQ(kt::reciprocal_of_crc32_polynomial(), 0x1F7011641u);
}

TEST_P(Crc32Way, AgreesWithZlibAtEveryLengthAndAlignment)
{
    const fenced_memory memory;
    for (unsigned offset = 0; offset < 16; ++offset) {
        const std::uint8_t* const data = memory.begin() + offset;
        for (unsigned length = 0; length <= 1024; ++length)
            ASSERT_EQ(GetParam().checksum(data, length), by_zlib(data, length)) << length << " at " << offset;
    }
}

TEST_P(Crc32Way, AgreesWithZlibOnPages)
{
    const fenced_memory memory;
    const auto all = static_cast<unsigned>(memory.end() - memory.begin());
    for (unsigned left_out = 0; left_out <= 300; ++left_out)
        ASSERT_EQ(GetParam().checksum(memory.begin(), all - left_out), by_zlib(memory.begin(), all - left_out))
            << left_out;
}

TEST_P(Crc32Way, ReadsNothingBehindItsBytes)
{
    const fenced_memory memory;
    for (unsigned length = 0; length <= 1024; ++length) {
        const std::uint8_t* const data = memory.end() - length;
        ASSERT_EQ(GetParam().checksum(data, length), by_zlib(data, length)) << length;
    }
}

TEST_P(Crc32Way, ReadsNothingBeforeItsBytes)
{
    const fenced_memory memory;
    for (unsigned length = 0; length <= 1024; ++length)
        ASSERT_EQ(GetParam().checksum(memory.begin(), length), by_zlib(memory.begin(), length)) << length;
}

INSTANTIATE_TEST_SUITE_P(OfThisProcessor, Crc32Way, testing::ValuesIn(ways_of_this_processor()),
                         [](const auto& way) { return way.param.name; });
