/** The USB route: cache, role switch and attribute. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* role = "/sys/class/usb_role/13500000.otg-role-switch/role";
constexpr const char* route = KT_IOCTL_DIR "usb_route";

const std::string to_host = "echo host > /sys/class/usb_role/13500000.otg-role-switch/role";
const std::string to_device = "echo device > /sys/class/usb_role/13500000.otg-role-switch/role";

void prepare(virtual_terminal& board)
{
    board.attribute(role, {.text = "device\n"});
    board.attribute(route, {.text = "0\n"});
    board.forget();
}

outcome set_mode(int value)
{
    return outcome_of([&] { return kt_usb_mode(value); });
}

/** The call printed, ran and wrote what a change does. */
void expect_change(virtual_terminal& board, int value, const std::string& command, const std::string& bytes)
{
    board.forget();
    const outcome done = set_mode(value);
    EXPECT_EQ(done.result, 0) << value;
    EXPECT_EQ(done.text, "system: " + command + "\n") << value;
    const std::string word = command.substr(5, command.find(' ', 5) - 5);
    EXPECT_EQ(told(board, {"shell", "write", "syslog"}),
              (lines{"shell " + command, "write " + std::string(role) + " " + word + "\n",
                     "write " + std::string(route) + " " + bytes}));
}

/** The call did nothing and gave its argument. */
void expect_nothing(virtual_terminal& board, int value)
{
    board.forget();
    const outcome done = set_mode(value);
    EXPECT_EQ(done.result, value);
    EXPECT_EQ(done.text, "") << value;
    EXPECT_EQ(doings(board), lines{}) << value;
}

} // namespace

TEST(UsbRoute, IsDeviceBeforeStartUp)
{
    virtual_terminal board;
    prepare(board);
    expect_nothing(board, 0);
}

TEST(UsbRoute, AChangeSwitchesTheRoleThenWritesTheRoute)
{
    virtual_terminal board;
    prepare(board);
    expect_change(board, 1, to_host, "0x1");
    expect_change(board, 0, to_device, "0x0");
}

TEST(UsbRoute, TheSameRouteAgainDoesNothing)
{
    virtual_terminal board;
    prepare(board);
    expect_change(board, 1, to_host, "0x1");
    expect_nothing(board, 1);
    expect_change(board, 0, to_device, "0x0");
    expect_nothing(board, 0);
}

TEST(UsbRoute, EveryValueButZeroIsHostAndADifferentRoute)
{
    virtual_terminal board;
    prepare(board);
    expect_change(board, 1, to_host, "0x1");
    expect_change(board, 2, to_host, "0x2");
    expect_nothing(board, 2);
    expect_change(board, -1, to_host, "0xffffffff");
    expect_nothing(board, -1);
    expect_change(board, 16, to_host, "0x10");
}

TEST(UsbRoute, StartUpTakesTheRouteOfTheBoard)
{
    virtual_terminal board;
    prepare(board);
    board.attribute(route, {.text = "1\n"});
    printed([] { kt_misc_init(); });
    expect_nothing(board, 1);
    expect_change(board, 0, to_device, "0x0");
}

TEST(UsbRoute, AnUnknownRouteIsMinusOne)
{
    virtual_terminal board;
    prepare(board);
    board.remove(route);
    printed([] { kt_misc_init(); });
    expect_nothing(board, -1);
    board.attribute(route, {.text = "0\n"});
    expect_change(board, 0, to_device, "0x0");
}

TEST(UsbRoute, AFailedRoleSwitchDoesNotStopTheRoute)
{
    virtual_terminal board;
    prepare(board);
    board.fail(role, {.on = "open", .error = EACCES});
    const outcome done = set_mode(1);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "system: " + to_host + "\n");
    EXPECT_EQ(board.writes(route), lines{"0x1"});
    expect_nothing(board, 1);
}

TEST(UsbRoute, AFailedAttributeIsTheResultAndTheRouteIsRemembered)
{
    virtual_terminal board;
    prepare(board);
    board.fail(route, {.on = "write", .error = EIO});
    EXPECT_EQ(set_mode(1), failed(EIO, "system: " + to_host + "\n"));
    EXPECT_EQ(board.writes(role), lines{"host\n"});
    EXPECT_EQ(board.syslog(),
              "kt_sys_attr_set_int can't write 0x1 to /sys/class/kt_misc/ioctl/usb_route Input/output error\n");
    expect_nothing(board, 1);
}

TEST(UsbRoute, TheQueryReadsTheBoardNotTheCache)
{
    virtual_terminal board;
    prepare(board);
    set_mode(1);
    board.attribute(route, {.text = "5\n"});
    EXPECT_EQ(kt_get_usb_route(), 5);
    expect_nothing(board, 1);
}
