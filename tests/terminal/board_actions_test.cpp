/** What a person does to the board, as the program sees it. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <gmock/gmock.h>

using namespace kt::tests;
using kt::terminal::terminal_error;
using kt::terminal::virtual_terminal;

TEST(BoardActions, TheChargerIsPluggedAndUnplugged)
{
    virtual_terminal board;
    const std::string online = "/sys/class/power_supply/mains/online";
    const std::string status = "/sys/class/power_supply/kt_bat/status";
    EXPECT_EQ(shown(online), "0\n");
    EXPECT_EQ(shown(status), "Discharging\n");
    board.act("plug", "mains");
    EXPECT_EQ(shown(online), "1\n");
    EXPECT_EQ(shown(status), "Charging\n");
    board.act("unplug", "mains");
    EXPECT_EQ(shown(online), "0\n");
    EXPECT_EQ(shown(status), "Discharging\n");
}

TEST(BoardActions, TheDockBringsItsNetworkAndTakesItAway)
{
    virtual_terminal board;
    const std::string address = "/sys/class/net/eth0/address";
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(exists(address));
        board.act("plug", "dock");
        EXPECT_EQ(shown(address), "02:4b:54:00:00:02\n");
        EXPECT_EQ(shown("/sys/class/kt_misc/ioctl/kt_dock_exist"), "1\n");
        board.act("unplug", "dock");
        EXPECT_FALSE(exists("/sys/class/net/eth0"));
        EXPECT_EQ(shown("/sys/class/kt_misc/ioctl/kt_dock_exist"), "0\n");
    }
}

TEST(BoardActions, TheUsbCableShowsAtItsVoltage)
{
    virtual_terminal board;
    board.act("plug", "usb");
    EXPECT_EQ(shown("/sys/class/kt_misc/ioctl/kt_usb_vbus_status"), "1\n");
    board.act("unplug", "usb");
    EXPECT_EQ(shown("/sys/class/kt_misc/ioctl/kt_usb_vbus_status"), "0\n");
}

TEST(BoardActions, UnknownOnesAreRefused)
{
    virtual_terminal board;
    EXPECT_THROW(board.act("plug", "moon"), terminal_error);
    EXPECT_THROW(board.act("frob", "mains"), terminal_error);
}
