/** The boot loader's version on the kernel's command line. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* cmdline = "/proc/cmdline";

void set(virtual_terminal& board, const std::string& text)
{
    board.attribute(cmdline, {.text = text, .mode = 0444});
}

} // namespace

TEST(BootVersion, StandsBehindItsKeyUpToABlank)
{
    const struct {
        const char* text;
        const char* version;
    } rows[] = {
        {"console=ttyS0 ktubver=V2.1.0 root=/dev/mtdblock2\n", "V2.1.0"},
        {"ktubver=V2.1.0 quiet\n", "V2.1.0"},
        {"quiet ktubver=V2.1.0\n", "V2.1.0\n"}, // last: the line feed stays
        {"quiet ktubver=V2.1.0", "V2.1.0"},
        {"quiet ktubver=V2.1.0 \n", "V2.1.0"},
        {"ktubver= quiet\n", ""},
        {"quiet ktubver=\n", "\n"},
        {"quiet ktubver=", ""},
        {"ktubver=one ktubver=two\n", "one"},
        {"xktubver=one ktubver=two\n", "one"}, // found anywhere, not only at a word's start
        {"ktubver=a=b,c;d\tf quiet\n", "a=b,c;d\tf"},
        {"ktubver=one\nktubver=two three\n", "one\nktubver=two"},
        {"ktubve=no ktktubver=yes z\n", "yes"},
        {"console=ttyS0 quiet\n", "V1.0.0"},
        {"KTUBVER=V2 ktubver V3 ktubver\n", "V1.0.0"},
        {"\n", "V1.0.0"},
        {"", "V1.0.0"},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        set(board, row.text);
        EXPECT_STREQ(kt_boot_ver(), row.version) << row.text;
    }
}

TEST(BootVersion, OnlyTheFirst1023BytesAreLookedAt)
{
    const std::string key = "ktubver=";
    const struct {
        std::size_t before;
        std::string version;
    } rows[] = {
        {1000, "123456789012345"}, // 1000 + 8 + 15 = 1023
        {1014, "1"},
        {1015, ""},
        {1016, "V1.0.0"}, // the key's last character is cut off
        {1023, "V1.0.0"},
        {2000, "V1.0.0"},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        set(board, std::string(row.before, 'x') + key + "123456789012345678901234567890 quiet\n");
        EXPECT_EQ(kt_boot_ver(), row.version) << row.before;
    }
}

TEST(BootVersion, AVersionCanFillTheWholeRead)
{
    virtual_terminal board;
    set(board, "ktubver=" + std::string(3000, 'v'));
    EXPECT_EQ(kt_boot_ver(), std::string(1015, 'v'));
}

TEST(BootVersion, TheFileIsOpenedReadOnlyReadOnceAndClosed)
{
    virtual_terminal board;
    set(board, "ktubver=V2 quiet\n");
    const std::set<int> before = open_descriptors();
    board.forget();
    EXPECT_EQ(printed([] { kt_boot_ver(); }), "");

    EXPECT_EQ(doings(board), lines{"open O_RDONLY /proc/cmdline"});
    const std::vector<event> reads = board.events_of({"read"});
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].size, 1023u);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(BootVersion, EachCallOverwritesTheTextOfTheLast)
{
    virtual_terminal board;
    set(board, "ktubver=a-long-version quiet splash\n");
    const char* first = kt_boot_ver();
    EXPECT_STREQ(first, "a-long-version");
    set(board, "ktubver=B");
    const char* second = kt_boot_ver();
    EXPECT_STREQ(second, "B"); // nothing of the longer one is left
    EXPECT_EQ(first, second);

    set(board, "quiet");
    EXPECT_STREQ(kt_boot_ver(), "V1.0.0");
}

TEST(BootVersion, WithoutTheFileTheVersionIsTheFirst)
{
    virtual_terminal board;
    board.fail(cmdline, {.on = "open", .error = EACCES});
    EXPECT_STREQ(kt_boot_ver(), "V1.0.0");
    board.mend_all();
}

TEST(BootVersion, AFailedReadGivesTheFirstVersionAndClosesTheFile)
{
    virtual_terminal board;
    set(board, "ktubver=V2 quiet\n");
    EXPECT_STREQ(kt_boot_ver(), "V2");
    const std::set<int> before = open_descriptors();
    board.fail(cmdline, {.on = "read", .error = EIO});
    EXPECT_STREQ(kt_boot_ver(), "V1.0.0");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(BootVersion, Descriptor0CountsAsFailureAndStaysOpen)
{
    virtual_terminal board;
    set(board, "ktubver=V2.1.0 quiet\n");
    std::string first;
    std::string target;
    std::string second;
    {
        const descriptor_0_free no_standard_input;
        first = kt_boot_ver();
        target = descriptor_target(0);
        second = kt_boot_ver(); // descriptor 0 is taken now
    }
    EXPECT_EQ(first, "V1.0.0");
    EXPECT_EQ(target, cmdline);
    EXPECT_EQ(second, "V2.1.0");
}
