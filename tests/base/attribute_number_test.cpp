/** Reading an attribute as a number, by the rules of a stream. */
#include <kt_driver/base.h>

#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <gtest/gtest.h>

using namespace std::string_literals;
using kt::terminal::virtual_terminal;

TEST(AttributeNumber, IsReadAsAStreamReadsIt)
{
    const struct {
        std::string text;
        int value;
    } rows[] = {
        {"12\n", 12},
        {"0\n", 0},
        {"0013\n", 13},
        {"0x1f\n", 0},
        {"", 0},
        {"\n", 0},
        {" \t\v\f\r\n", 0},
        {"none\n", 0},
        {"  \t\n 42 43\n", 42},
        {"\t\v\f\r 44\n", 44},
        {"12abc\n", 12},
        {"3.9\n", 3},
        {"1e3\n", 1},
        {"+7\n", 7},
        {"-1\n", -1},
        {"-5\n", -5},
        {"+-5\n", 0},
        {"- 5\n", 0},
        {"2147483647\n", 2147483647},
        {"2147483648\n", -2147483647 - 1},
        {"4294967294\n", -2},
        {"4294967295\n", -1},
        {"4294967296\n", -1},
        {"99999999999999999999999\n", -1},
        {"-4294967295\n", 1},
        {"-4294967296\n", -1},
        {"00000000000000000000000000000000000000012\n", 12},
        {"1\0002\n"s, 1},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(KT_IOCTL_DIR "tried", {.text = row.text});
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), row.value) << row.text;
    }
    EXPECT_EQ(board.syslog(), ""); // none of these is a failure
}

TEST(AttributeNumber, MayStandAtTheEndOfAPage)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = std::string(4094, ' ') + "12"});
    EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), 12);
}
