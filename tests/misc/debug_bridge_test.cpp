/** The debug bridge and its marker file. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* marker = "/kt/kt_module/0001.txt";

/** What a call prints; its result is expected to be 0. */
std::string printed_by_control(int on)
{
    int result = -1;
    std::string text = printed([&] { result = kt_adb_ctrl(on); });
    EXPECT_EQ(result, 0);
    return text;
}

} // namespace

TEST(DebugBridge, IsOnRightAfterOnAndOffRightAfterOff)
{
    std::filesystem::create_directories("/kt/kt_module");
    EXPECT_EQ(kt_adb_ctrl(1), 0);
    EXPECT_EQ(kt_adb_status(), 1);
    EXPECT_EQ(kt_adb_ctrl(0), 0);
    EXPECT_EQ(kt_adb_status(), 0);
}

TEST(DebugBridge, IsSwitchedByTwoPlainCommands)
{
    std::filesystem::create_directories("/kt/kt_module");
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(printed_by_control(1), "");
    EXPECT_EQ(board.commands(), lines{"echo drv > /kt/kt_module/0001.txt"});
    std::ifstream file(marker);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "drv\n");

    board.forget();
    EXPECT_EQ(printed_by_control(0), "");
    EXPECT_EQ(board.commands(), lines{"rm /kt/kt_module/0001.txt -fr"});
    EXPECT_FALSE(std::filesystem::exists(marker));

    board.forget();
    EXPECT_EQ(printed_by_control(-1), "");
    EXPECT_EQ(board.commands(), lines{"echo drv > /kt/kt_module/0001.txt"});
}

TEST(DebugBridge, SwitchingOffTwiceIsNoFailure)
{
    EXPECT_EQ(printed_by_control(0), "");
    EXPECT_EQ(printed_by_control(0), "");
    EXPECT_EQ(kt_adb_status(), 0);
}

TEST(DebugBridge, ItsFailureIsNotAResult)
{
    std::filesystem::create_directories("/kt/kt_module");
    virtual_terminal board;
    board.fail(marker, {.on = "create", .error = EROFS});
    EXPECT_EQ(kt_adb_ctrl(1), 0);
    EXPECT_EQ(kt_adb_status(), 0);
}

TEST(DebugBridge, ItsStateIsWhetherTheMarkerCanBeOpened)
{
    std::filesystem::create_directories("/kt/kt_module");
    virtual_terminal board;
    EXPECT_EQ(kt_adb_status(), 0);
    std::ofstream(marker).flush(); // whatever it holds
    const std::set<int> before = open_descriptors();
    board.forget();
    int status = -1;
    EXPECT_EQ(printed([&] { status = kt_adb_status(); }), "");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(told(board, {"open", "read", "write", "shell"}), lines{"open O_RDONLY /kt/kt_module/0001.txt"});
    EXPECT_EQ(open_descriptors(), before);

    board.fail(marker, {.on = "open", .error = EACCES});
    EXPECT_EQ(kt_adb_status(), 0);
}

TEST(DebugBridge, Descriptor0IsADescriptorToo)
{
    std::filesystem::create_directories("/kt/kt_module");
    std::ofstream(marker).flush();
    int status = -1;
    std::string left_open;
    {
        const descriptor_0_free no_standard_input;
        status = kt_adb_status();
        left_open = descriptor_target(0);
    }
    EXPECT_EQ(status, 1);
    EXPECT_EQ(left_open, "");
}
