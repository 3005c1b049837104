/** The ring buffer of applications: what goes in comes out, and where the positions stand. */
#include "tests/serial/fifo_in_c.h"

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

static_assert(offsetof(kt_sfifo, size) == 0);
static_assert(offsetof(kt_sfifo, buffer) == sizeof(void*));
static_assert(offsetof(kt_sfifo, read_pos) == 2 * sizeof(void*));
static_assert(offsetof(kt_sfifo, write_pos) == 3 * sizeof(void*));
static_assert(offsetof(kt_sfifo, lock) == 4 * sizeof(void*));
static_assert(sizeof(kt_sfifo) == 5 * sizeof(void*));

namespace {

/** A new FIFO, its storage filled with what no test puts in. */
struct eight_bytes : kt_sfifo {
    eight_bytes() : kt_sfifo{8, storage, storage, storage, nullptr} { std::memset(storage, '.', sizeof storage); }
    eight_bytes(const eight_bytes&) = delete;
    eight_bytes& operator=(const eight_bytes&) = delete;

    /** A FIFO that has been used: all it held was taken. */
    void begin_at(unsigned position) { read_pos = write_pos = storage + position; }

    std::string stored() const { return {reinterpret_cast<const char*>(storage), sizeof storage}; }

    std::uint8_t storage[8];
};

std::string taken(kt_sfifo& fifo, unsigned count)
{
    std::string bytes(count, '?');
    bytes.resize(kt_sfifo_get(&fifo, bytes.data(), count));
    return bytes;
}

} // namespace

TEST(Fifo, NewOneIsEmptyAndKeepsOneByteUnused)
{
    eight_bytes fifo;
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 7u);
}

TEST(Fifo, PutTakesWhatThereIsSpaceFor)
{
    eight_bytes fifo;
    EXPECT_EQ(kt_sfifo_put(&fifo, "0123456789", 10), 7u);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 7u);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 0u);
    EXPECT_EQ(fifo.write_pos, fifo.storage + 7);
    EXPECT_EQ(fifo.stored(), "0123456.");

    EXPECT_EQ(kt_sfifo_put(&fifo, "x", 1), 0u);
    EXPECT_EQ(fifo.write_pos, fifo.storage + 7);
    EXPECT_EQ(fifo.stored(), "0123456.");
    EXPECT_EQ(taken(fifo, 10), "0123456");
}

TEST(Fifo, PutUpToTheStoragesEndLeavesTheWritePositionAtItsBeginning)
{
    eight_bytes fifo;
    fifo.begin_at(5);
    EXPECT_EQ(kt_sfifo_put(&fifo, "abc", 3), 3u);
    EXPECT_EQ(fifo.write_pos, fifo.storage);
    EXPECT_EQ(fifo.stored(), ".....abc");
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 3u);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 4u);

    EXPECT_EQ(taken(fifo, 3), "abc");
    EXPECT_EQ(fifo.read_pos, fifo.storage);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u);
}

TEST(Fifo, PutOverTheStoragesEndIsSplitAndReadsBackInOrder)
{
    eight_bytes fifo;
    fifo.begin_at(6);
    EXPECT_EQ(kt_sfifo_put(&fifo, "abcde", 5), 5u);
    EXPECT_EQ(fifo.stored(), "cde...ab");
    EXPECT_EQ(fifo.write_pos, fifo.storage + 3);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 5u);

    EXPECT_EQ(taken(fifo, 4), "abcd");
    EXPECT_EQ(fifo.read_pos, fifo.storage + 2);
    EXPECT_EQ(taken(fifo, 4), "e");
}

TEST(Fifo, PutBehindAWrappedWritePositionStopsBeforeTheReadPosition)
{
    eight_bytes fifo;
    fifo.begin_at(6);
    EXPECT_EQ(kt_sfifo_put(&fifo, "abc", 3), 3u);
    EXPECT_EQ(kt_sfifo_put(&fifo, "defghi", 6), 4u);
    EXPECT_EQ(fifo.stored(), "cdefg.ab");
    EXPECT_EQ(fifo.write_pos, fifo.storage + 5);
    EXPECT_EQ(taken(fifo, 9), "abcdefg");
}

TEST(Fifo, GetFromAnEmptyOneLeavesTheDestinationUntouched)
{
    eight_bytes fifo;
    fifo.begin_at(3);
    char out[] = "keep";
    EXPECT_EQ(kt_sfifo_get(&fifo, out, 4), 0u);
    EXPECT_STREQ(out, "keep");
    EXPECT_EQ(fifo.read_pos, fifo.storage + 3);
}

TEST(Fifo, GetLeavesTheDestinationBehindTheTakenBytesUntouched)
{
    eight_bytes fifo;
    ASSERT_EQ(kt_sfifo_put(&fifo, "ab", 2), 2u);
    char out[] = "keep";
    EXPECT_EQ(kt_sfifo_get(&fifo, out, 4), 2u);
    EXPECT_STREQ(out, "abep");
}

TEST(Fifo, CountOfZeroMovesNothing)
{
    eight_bytes fifo;
    ASSERT_EQ(kt_sfifo_put(&fifo, "ab", 2), 2u);
    char out[] = "keep";
    EXPECT_EQ(kt_sfifo_put(&fifo, "x", 0), 0u);
    EXPECT_EQ(kt_sfifo_get(&fifo, out, 0), 0u);
    EXPECT_STREQ(out, "keep");
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 2u);
}

TEST(Fifo, ResetDiscardsWhereTheWriterStands)
{
    eight_bytes fifo;
    fifo.begin_at(6);
    ASSERT_EQ(kt_sfifo_put(&fifo, "abcde", 5), 5u);
    EXPECT_EQ(kt_sfifo_reset(&fifo), 0);
    EXPECT_EQ(fifo.write_pos, fifo.storage + 3);
    EXPECT_EQ(fifo.read_pos, fifo.storage + 3);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 7u);
    EXPECT_EQ(fifo.stored(), "cde...ab");
}

TEST(Fifo, OfSizeOneHoldsNothing)
{
    std::uint8_t storage = '.';
    kt_sfifo fifo = {1, &storage, &storage, &storage, nullptr};
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_put(&fifo, "a", 1), 0u);
    EXPECT_EQ(kt_sfifo_get(&fifo, &storage, 1), 0u);
    EXPECT_EQ(kt_sfifo_reset(&fifo), 0);
    EXPECT_EQ(storage, '.');
    EXPECT_EQ(fifo.write_pos, &storage);
}

TEST(Fifo, OfTheLargestSizeIsReckonedWithoutOverflow)
{
    // Only the neighbourhood of the positions is really there.
    std::uint8_t there[64] = {};
    constexpr std::uint32_t size = 0xFFFFFFFF;
    constexpr std::uint32_t position = 0xF0000000;
    auto* const buffer = reinterpret_cast<std::uint8_t*>(reinterpret_cast<std::uintptr_t>(there) - position);
    kt_sfifo fifo = {size, buffer, there, there, nullptr};
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), size - 1);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_put(&fifo, "abcdef", 6), 6u);
    EXPECT_EQ(fifo.write_pos, there + 6);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 6u);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), size - 7);
    EXPECT_EQ(taken(fifo, 5), "abcde");

    fifo.write_pos = there; // nearly full, five bytes behind the reader
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), size - 5);
    EXPECT_EQ(kt_sfifo_space_avail(&fifo), 4u);
    EXPECT_EQ(kt_sfifo_put(&fifo, "ghijkl", 6), 4u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(there), 6), "ghijef");
}

TEST(Fifo, IsACRecord)
{
    char out[] = "?????????";
    EXPECT_EQ(passed_on_by_c("123456789", 9, out), 7u);
    EXPECT_STREQ(out, "1234567??");
    EXPECT_EQ(passed_on_by_c("abcd", 4, out), 4u);
    EXPECT_STREQ(out, "abcd567??");
}
