/** Whether a network interface exists. */
#include <kt_driver/misc.h>

#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

outcome check(const std::string& name)
{
    return outcome_of([&] { return kt_check_net_exist(name.c_str()); });
}

} // namespace

TEST(NetworkInterface, IsFoundByItsFolder)
{
    virtual_terminal board;
    board.attribute("/sys/class/net/wlan0/operstate", {.text = "up\n", .mode = 0444});
    const outcome found = check("wlan0");
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.text, "find /sys/class/net/wlan0\r\n");

    board.remove("/sys/class/net/wlan0");
    const outcome gone = check("wlan0");
    EXPECT_EQ(gone.result, 0);
    EXPECT_EQ(gone.text, "/sys/class/net/wlan0 is not exist\r\n");
}

TEST(NetworkInterface, OneThatIsNotThereIsNoFailure)
{
    virtual_terminal board;
    board.forget();
    const outcome missing = check("ppp7");
    EXPECT_EQ(missing.result, 0);
    EXPECT_EQ(missing.text, "/sys/class/net/ppp7 is not exist\r\n");
    EXPECT_EQ(doings(board), lines{}); // looked at, never opened
}

TEST(NetworkInterface, AnEmptyNameIsTheFolderItself)
{
    virtual_terminal board;
    board.attribute("/sys/class/net/wlan0/operstate", {.text = "up\n", .mode = 0444});
    const outcome folder = check("");
    EXPECT_EQ(folder.result, 1);
    EXPECT_EQ(folder.text, "find /sys/class/net/\r\n");
}

TEST(NetworkInterface, APercentSignIsText)
{
    EXPECT_EQ(check("%s%d").text, "/sys/class/net/%s%d is not exist\r\n");
}

TEST(NetworkInterface, ItsPathFillsTheBufferAtMost)
{
    virtual_terminal board;
    const std::string longest(112, 'n'); // "/sys/class/net/" and the NUL take 16 of 128
    outcome done = check(longest);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "/sys/class/net/" + longest + " is not exist\r\n");

    board.attribute("/sys/class/net/" + longest + "/operstate", {.text = "up\n", .mode = 0444});
    done = check(longest);
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, "find /sys/class/net/" + longest + "\r\n");

    for (const std::size_t length : {113u, 128u, 1000u}) {
        done = check(std::string(length, 'n'));
        EXPECT_EQ(done.result, -1) << length;
        EXPECT_EQ(done.cause, EINVAL) << length;
        EXPECT_EQ(done.text, "") << length;
    }
}
