/** Reading an attribute as text: what is copied, how much, and what is left alone. */
#include <kt_driver/base.h>

#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

using namespace std::string_literals;
using kt::terminal::virtual_terminal;

namespace {

/** What one call left: the whole buffer, which held '#' everywhere. */
struct reading {
    int result;
    unsigned int length;
    std::string buffer;
};

reading read_text(const char* dir, const char* name, unsigned int length, std::size_t room)
{
    reading read{-2, length, std::string(room, '#')};
    read.result = kt_sys_attr_get_string(dir, name, read.buffer.data(), &read.length);
    return read;
}

} // namespace

TEST(AttributeText, KeepsTheLineFeedAndReportsItsLength)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "ab\n"});
    const reading read = read_text(KT_IOCTL_DIR, "tried", 64, 64);

    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.length, 3u);
    EXPECT_EQ(read.buffer, "ab\n" + std::string(61, '#')); // no terminator of its own
}

TEST(AttributeText, ALongerTextIsCutWithoutTerminator)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "abcdef"});
    const reading read = read_text(KT_IOCTL_DIR, "tried", 4, 8);

    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.length, 4u);
    EXPECT_EQ(read.buffer, "abcd####");
}

TEST(AttributeText, LengthsAroundTheText)
{
    const struct {
        unsigned int given;
        unsigned int copied;
        const char* buffer;
    } rows[] = {
        {0, 0, "########"}, {1, 1, "a#######"}, {2, 2, "ab######"}, {3, 3, "ab\n#####"}, {4, 3, "ab\n#####"},
    };
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "ab\n"});
    for (const auto& row : rows) {
        const reading read = read_text(KT_IOCTL_DIR, "tried", row.given, 8);
        EXPECT_EQ(read.result, 0) << row.given;
        EXPECT_EQ(read.length, row.copied) << row.given;
        EXPECT_EQ(read.buffer, row.buffer) << row.given;
    }
}

TEST(AttributeText, NothingIsTrimmed)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = " \t a b \r\n\n"});
    EXPECT_EQ(read_text(KT_IOCTL_DIR, "tried", 20, 20).buffer, " \t a b \r\n\n##########");
}

TEST(AttributeText, AnEmptyAttributeCopiesNothing)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = ""});
    const reading read = read_text(KT_IOCTL_DIR, "tried", 8, 8);

    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.length, 0u);
    EXPECT_EQ(read.buffer, "########");
}

TEST(AttributeText, EndsAtANul)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "ab\0cd\n"s});
    const reading read = read_text(KT_IOCTL_DIR, "tried", 8, 8);

    EXPECT_EQ(read.length, 2u);
    EXPECT_EQ(read.buffer, "ab######");
}

TEST(AttributeText, AWholePageOfTheDriver)
{
    const std::string page = std::string(4095, 'p') + "\n";
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = page});
    const reading read = read_text(KT_IOCTL_DIR, "tried", 5000, 5000);

    EXPECT_EQ(read.length, 4096u);
    EXPECT_EQ(read.buffer, page + std::string(904, '#'));
}

TEST(AttributeText, NoMoreThanOnePageIsRead)
{
    const std::size_t page = static_cast<std::size_t>(getpagesize());
    const std::string text = std::string(page, 'p') + "more";
    std::ofstream("/tmp/long") << text;
    const reading read = read_text("/tmp/", "long", static_cast<unsigned int>(page + 8), page + 8);

    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.length, page);
    EXPECT_EQ(read.buffer, std::string(page, 'p') + "########");
}

TEST(AttributeText, AFailureLeavesBufferAndLengthAlone)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "write_only", {.text = "1\n", .mode = 0200});
    for (const char* name : {"none", "write_only"}) {
        const reading read = read_text(KT_IOCTL_DIR, name, 8, 8);
        EXPECT_EQ(read.result, -1) << name;
        EXPECT_EQ(read.length, 8u) << name;
        EXPECT_EQ(read.buffer, "########") << name;
    }
}
