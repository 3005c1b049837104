/** Writing an attribute: the bytes that the driver gets. */
#include <kt_driver/base.h>

#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/resource.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using namespace std::string_literals;
using texts = std::vector<std::string>;

TEST(AttributeWrite, NumbersGoOutInHexadecimal)
{
    const struct {
        unsigned int value;
        const char* bytes;
    } rows[] = {
        {0, "0x0"},
        {1, "0x1"},
        {9, "0x9"},
        {10, "0xa"},
        {15, "0xf"},
        {16, "0x10"},
        {255, "0xff"},
        {256, "0x100"},
        {4096, "0x1000"},
        {48879, "0xbeef"},
        {65535, "0xffff"},
        {19088743, "0x1234567"},
        {2147483647, "0x7fffffff"},
        {2147483648u, "0x80000000"},
        {4294967295u, "0xffffffff"},
    };
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "x\n"});
    for (const auto& row : rows) {
        board.forget();
        EXPECT_EQ(kt_sys_attr_set_int(KT_IOCTL_DIR, "tried", row.value), 0) << row.value;
        EXPECT_EQ(board.writes(KT_IOCTL_DIR "tried"), texts{row.bytes});
    }
}

TEST(AttributeWrite, ADriverTakesTheHexadecimalNumber)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "0\n", .kind = "integer"});
    EXPECT_EQ(kt_sys_attr_set_int(KT_IOCTL_DIR, "tried", 255), 0);
    EXPECT_EQ(board.text(KT_IOCTL_DIR "tried"), "255\n");
    EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), 255);
}

TEST(AttributeWrite, TextsGoOutAsTheyAre)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "x\n"});
    for (const std::string& text : {"1"s, "on"s, "mem\n"s, " a b "s, "\xff\x01"s, std::string(4000, 'x')}) {
        board.forget();
        EXPECT_EQ(kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", text.c_str()), 0);
        EXPECT_EQ(board.writes(KT_IOCTL_DIR "tried"), texts{text});
        EXPECT_EQ(board.text(KT_IOCTL_DIR "tried"), text);
    }
    EXPECT_EQ(board.syslog(), "");
}

TEST(AttributeWrite, AShortWriteIsNoFailure)
{
    // A file that may not grow beyond four bytes takes four of them, as a driver may take less than it was given.
    std::ofstream("/tmp/tried").flush();
    signal(SIGXFSZ, SIG_IGN);
    const rlimit four_bytes = {4, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &four_bytes), 0);
    const int text = kt_sys_attr_set_string("/tmp/", "tried", "abcdefgh");
    const rlimit no_limit = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &no_limit);

    EXPECT_EQ(text, 0);
    std::ifstream file("/tmp/tried");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "abcd"); // once: the rest is not tried again
}

TEST(AttributeWrite, TheOldContentIsNotCutOff)
{
    // No O_TRUNC and no O_CREAT: only what a driver sees counts.
    std::ofstream("/tmp/tried") << "abcdefgh";
    EXPECT_EQ(kt_sys_attr_set_int("/tmp/", "tried", 1), 0);
    std::ifstream file("/tmp/tried");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "0x1defgh");

    EXPECT_EQ(kt_sys_attr_set_int("/tmp/", "none", 1), -1);
    EXPECT_FALSE(std::ifstream("/tmp/none").is_open());
}
