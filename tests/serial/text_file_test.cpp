/** sys_read and sys_write: one access to a small file, and what is printed when it fails. */
#include <kt_driver/tty.h>

#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* place = KT_IOCTL_DIR "small";

} // namespace

TEST(TextFile, IsReadWithOneReadOfOneByteLessThanTheRoom)
{
    virtual_terminal board;
    board.attribute(place, {.text = "mem on\n"});
    board.forget();

    char room[65];
    std::memset(room, '#', sizeof room);
    const outcome done = outcome_of([&] { return sys_read(place, room, 65); });
    EXPECT_EQ(done.result, 7);
    EXPECT_EQ(done.text, "");
    EXPECT_EQ(std::string(room, 9), "mem on\n##"); // not terminated

    EXPECT_EQ(told(board, {"open", "read"}),
              (lines{"open O_RDONLY " + std::string(place), "read " + std::string(place) + " mem on\n"}));
    EXPECT_EQ(board.events_of({"read"}).at(0).size, 64u);
}

TEST(TextFile, IsCutToTheRoomAndReadOnce)
{
    virtual_terminal board;
    board.attribute(place, {.text = "mem on\n"});
    board.forget();
    char room[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(sys_read(place, room, 4), 3);
    EXPECT_EQ(std::string(room, 4), "mem#");
    EXPECT_EQ(board.events_of({"read"}).size(), 1u);
}

TEST(TextFile, ARoomOfOneByteReadsNothing)
{
    virtual_terminal board;
    board.attribute(place, {.text = "mem\n"});
    board.forget();
    char room = '#';
    const outcome done = outcome_of([&] { return sys_read(place, &room, 1); });
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "");
    EXPECT_EQ(room, '#');
    EXPECT_EQ(doings(board), lines{"open O_RDONLY " + std::string(place)});
}

TEST(TextFile, NoRoomIsRefusedWithoutAWord)
{
    virtual_terminal board;
    board.attribute(place, {.text = "mem\n"});
    board.forget();
    char room = '#';
    EXPECT_EQ(outcome_of([&] { return sys_read(place, &room, 0); }), failed(EINVAL, ""));
    EXPECT_EQ(room, '#');
    EXPECT_EQ(doings(board), lines{});
}

TEST(TextFile, AnEmptyFileReadsZeroBytes)
{
    virtual_terminal board;
    board.attribute(place, {.text = ""});
    char room[8] = "#######";
    const outcome done = outcome_of([&] { return sys_read(place, room, sizeof room); });
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "");
    EXPECT_STREQ(room, "#######");
}

TEST(TextFile, NullArgumentsAreTheMessageWithoutALineFeed)
{
    virtual_terminal board;
    board.forget();
    char room[8] = "";
    EXPECT_EQ(outcome_of([&] { return sys_read(nullptr, room, sizeof room); }),
              failed(EINVAL, "Error argument is nul!"));
    EXPECT_EQ(outcome_of([] { return sys_read(place, nullptr, 8); }), failed(EINVAL, "Error argument is nul!"));
    EXPECT_EQ(outcome_of([] { return sys_read(nullptr, nullptr, 0); }), failed(EINVAL, "Error argument is nul!"));
    EXPECT_EQ(outcome_of([] { return sys_write(nullptr, "mem"); }), failed(EINVAL, "Error argument is nul!"));
    EXPECT_EQ(outcome_of([] { return sys_write(place, nullptr); }), failed(EINVAL, "Error argument is nul!"));
    EXPECT_EQ(doings(board), lines{});
}

TEST(TextFile, AFileThatDoesNotOpenIsNamed)
{
    virtual_terminal board;
    const std::string text = "Error opening " + std::string(place) + "\n";
    char room[8];
    EXPECT_EQ(outcome_of([&] { return sys_read(place, room, sizeof room); }), failed(ENOENT, text));
    EXPECT_EQ(outcome_of([] { return sys_write(place, "mem"); }), failed(ENOENT, text));

    board.attribute(place, {.text = "mem\n"});
    board.fail(place, {.on = "open", .error = EMFILE});
    EXPECT_EQ(outcome_of([&] { return sys_read(place, room, sizeof room); }), failed(EMFILE, text));
    EXPECT_EQ(outcome_of([] { return sys_write(place, "mem"); }), failed(EMFILE, text));
}

TEST(TextFile, AReadThatFailsIsNamed)
{
    virtual_terminal board;
    board.attribute(place, {.text = "mem\n"});
    board.fail(place, {.on = "read", .error = EIO});
    const auto before = open_descriptors();
    char room[8] = "#######";
    EXPECT_EQ(outcome_of([&] { return sys_read(place, room, sizeof room); }),
              failed(EIO, "Error reading to " + std::string(place) + "\n"));
    EXPECT_STREQ(room, "#######");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(TextFile, IsWrittenWithOneWriteOfTheWholeText)
{
    virtual_terminal board;
    board.attribute(place, {.text = "on\n"});
    board.forget();
    const outcome done = outcome_of([] { return sys_write(place, "mem"); });
    EXPECT_EQ(done.result, 3);
    EXPECT_EQ(done.text, "");
    EXPECT_EQ(doings(board), (lines{"open O_WRONLY " + std::string(place), "write " + std::string(place) + " mem"}));
}

TEST(TextFile, AnEmptyTextWritesZeroBytes)
{
    virtual_terminal board;
    board.attribute(place, {.text = "on\n"});
    const outcome done = outcome_of([] { return sys_write(place, ""); });
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "");
    EXPECT_EQ(board.text(place), "on\n");
}

TEST(TextFile, IsNeitherMadeNorCut)
{
    virtual_terminal board;
    constexpr const char* kept = "/mnt/data/kt_serial_test.txt";
    board.forget();
    EXPECT_EQ(outcome_of([] { return sys_write(kept, "new"); }),
              failed(ENOENT, "Error opening " + std::string(kept) + "\n"));
    EXPECT_EQ(told(board, {"create"}), lines{});

    board.attribute(kept, {.text = "a longer text", .kind = "file"});
    EXPECT_EQ(sys_write(kept, "new"), 3);
    EXPECT_EQ(board.text(kept), "newonger text");
}

TEST(TextFile, AWriteThatFailsIsNamed)
{
    virtual_terminal board;
    board.attribute(place, {.text = "on\n"});
    board.fail(place, {.on = "write", .error = EBUSY});
    const auto before = open_descriptors();
    EXPECT_EQ(outcome_of([] { return sys_write(place, "mem"); }),
              failed(EBUSY, "Error writing to " + std::string(place) + "\n"));
    EXPECT_EQ(open_descriptors(), before);
}

TEST(TextFile, DescriptorsAreClosedAgainAndDescriptor0IsAsGoodAsAnother)
{
    virtual_terminal board;
    board.attribute(place, {.text = "on\n"});
    const auto before = open_descriptors();
    char room[8] = "";
    EXPECT_EQ(sys_read(place, room, sizeof room), 3);
    EXPECT_EQ(sys_write(place, "mem"), 3);
    EXPECT_EQ(open_descriptors(), before);

    const descriptor_0_free no_standard_input;
    EXPECT_EQ(sys_read(place, room, sizeof room), 3);
    EXPECT_EQ(sys_write(place, "mem"), 3);
    EXPECT_EQ(descriptor_target(0), "");
}
