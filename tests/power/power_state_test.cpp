/** Off and restart: what is printed, and what is asked of the board in which order. */
#include "tests/power/power_request.h"
#include "tests/support/files.h"

#include <cerrno>
#include <sys/stat.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

static_assert(POWER_STATE_OFF == 0x20000 && POWER_STATE_SUSPEND == 0x200000 && POWER_STATE_RESET == 0x800000);

namespace {

constexpr const char* reboot_file = "/kt/kt_module/reboot";

const std::string off_line = "kt_system_power_state to POWER_STATE_OFF\n";
const std::string last_line = "out of sleep event 0 \n";

std::string sp_power_line(int mode)
{
    return "system: echo " + std::to_string(mode) + " > /sys/class/kt_misc/ioctl/sp_power\n";
}

lines sp_power_steps(int mode)
{
    return {"shell echo " + std::to_string(mode) + " > /sys/class/kt_misc/ioctl/sp_power",
            "write /sys/class/kt_misc/ioctl/sp_power " + std::to_string(mode) + "\n"};
}

const lines reboots = {"shell reboot -f", "program reboot -f"};
const lines powers_off = {"shell poweroff", "program poweroff"};

} // namespace

TEST(PowerState, AnUnknownCodeOnlyPrintsTheLastLine)
{
    virtual_terminal board;
    prepare_power(board, "Full\n");
    for (const int code : {0, 1, -1, 2, 4, 0x10000, 0x20001, 0x40000, 0x200001, 0x800001, 0x220000, 0x820000, 0xA20000,
                           0x20000 - 1, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(power_request(code), last_line) << code;
        EXPECT_EQ(told(board, {"missing", "open", "read", "write", "shell", "program", "syslog"}), lines{}) << code;
    }
}

TEST(PowerState, OffOnTheBatteryPowersOff)
{
    virtual_terminal board;
    for (const char* status : {"Discharging\n", "Not charging\n"}) {
        prepare_power(board, status);
        EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(1) + last_line) << status;
        EXPECT_EQ(power_steps(board),
                  joined({{"read " KT_SUPPLY_DIR "status " + std::string(status)}, sp_power_steps(1), powers_off}))
            << status;
        EXPECT_EQ(held(reboot_file), "");
    }
}

TEST(PowerState, OffWithTheChargerRestarts)
{
    virtual_terminal board;
    for (const char* status : {"Charging\n", "Full\n", "Unknown\n", "Melting\n"}) {
        prepare_power(board, status);
        EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line) << status;
        EXPECT_EQ(power_steps(board),
                  joined({{"read " KT_SUPPLY_DIR "status " + std::string(status)}, sp_power_steps(0), reboots}))
            << status;
        EXPECT_EQ(held(reboot_file), "");
    }
}

TEST(PowerState, OffOnHardwareVersion50Restarts)
{
    virtual_terminal board;
    prepare_power(board, "Discharging\n", "50");
    EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line);
    EXPECT_EQ(power_steps(board), joined({sp_power_steps(0), reboots}));
}

TEST(PowerState, OffPowersOffWhereTheMainsCannotBeTold)
{
    virtual_terminal board;
    prepare_power(board, "Charging\n");
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO});
    EXPECT_EQ(power_request(POWER_STATE_OFF),
              off_line + "ac_supply get ac online error\n" + sp_power_line(1) + last_line);
    EXPECT_EQ(power_steps(board), joined({{"read " KT_SUPPLY_DIR "status  = EIO"}, sp_power_steps(1), powers_off}));
}

TEST(PowerState, OffPowersOffBeforeTheBatteryWasLookedFor)
{
    virtual_terminal board;
    board.program("reboot", 0);
    board.program("poweroff", 0);
    give_supply(board, "Charging\n");
    board.forget();
    EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(1) + last_line);
    EXPECT_EQ(power_steps(board), joined({sp_power_steps(1), powers_off}));
}

TEST(PowerState, ResetAsksForChargingAndRestarts)
{
    virtual_terminal board;
    for (const char* status : {"Discharging\n", "Charging\n"}) { // all the same with and without the charger
        prepare_power(board, status);
        (void)mkdir("/kt/kt_module", 0755);
        EXPECT_EQ(power_request(POWER_STATE_RESET),
                  "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + last_line);
        EXPECT_EQ(told(board, {"read", "shell", "program", "syslog"}),
                  (lines{"shell echo charging > /kt/kt_module/reboot",
                         "shell echo 0 > /sys/class/kt_misc/ioctl/sp_power", "shell reboot -f", "program reboot -f"}))
            << status;
        EXPECT_EQ(board.writes(KT_IOCTL_DIR "sp_power"), lines{"0\n"});
        EXPECT_EQ(held(reboot_file), "charging\n");
    }
}

TEST(PowerState, WhatTheCommandsPrintStandsBetweenTheLines)
{
    virtual_terminal board;
    prepare_power(board, "Charging\n");
    board.program("reboot", 0, "going down\n");
    board.program("poweroff", 0, "going off\n");
    EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(0) + "going down\n" + last_line);
    EXPECT_EQ(power_request(POWER_STATE_RESET),
              "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + "going down\n" + last_line);
    supply_says(board, "status", "Discharging\n");
    EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(1) + "going off\n" + last_line);
}

TEST(PowerState, AFailingCommandStopsNothing)
{
    virtual_terminal board;
    prepare_power(board, "Charging\n");
    board.program("reboot", 1);
    board.program("poweroff", 1);
    board.fail(KT_IOCTL_DIR "sp_power", {.on = "write", .error = EIO});
    const lines first = {"shell echo 0 > /sys/class/kt_misc/ioctl/sp_power",
                         "write /sys/class/kt_misc/ioctl/sp_power 0\n = EIO"};
    EXPECT_EQ(power_request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line);
    EXPECT_EQ(told(board, {"write", "shell", "program", "syslog"}), joined({first, reboots}));

    ASSERT_EQ(mkdir(reboot_file, 0755), 0); // no file can be written there
    board.forget();
    EXPECT_EQ(power_request(POWER_STATE_RESET),
              "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + last_line);
    EXPECT_EQ(power_steps(board), joined({{"shell echo charging > /kt/kt_module/reboot"}, first, reboots}));
}
