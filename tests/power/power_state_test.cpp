/** Off, restart and suspend: what is printed, and what is asked of the board in which order. */
#include <kt_driver/base.h>
#include <kt_driver/power.h>

#include "own_supply.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

static_assert(POWER_STATE_OFF == 0x20000 && POWER_STATE_SUSPEND == 0x200000 && POWER_STATE_RESET == 0x800000);

namespace {

constexpr const char* rfkill_state = "/sys/class/rfkill/rfkill0/state";
constexpr const char* reboot_file = "/kt/kt_module/reboot";

void has_versions(virtual_terminal& board, const std::string& hardware, const std::string& wifi)
{
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = hardware + "\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = wifi + "\n", .mode = 0444});
    kt_base_init();
}

/** A terminal that goes neither off nor up again: both programs are only recorded. */
void prepare(virtual_terminal& board, const std::string& status = "Discharging\n", const std::string& hardware = "200")
{
    board.program("reboot", 0);
    board.program("poweroff", 0);
    give_supply(board, status);
    has_versions(board, hardware, "2");
    printed([] { kt_supplypower_init(); });
    board.forget();
}

/** One request; what it returned is also what it printed last. */
std::string request(int state, int expected = 0)
{
    int result = -99;
    const std::string text = printed([&] { result = kt_system_power_state(state); });
    EXPECT_EQ(result, expected);
    return text;
}

/** What the board saw, but for opens: a shell's are in no fixed form. */
lines steps(virtual_terminal& board)
{
    return told(board, {"read", "write", "shell", "program", "syslog"});
}

std::string content_of(const char* path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

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

lines joined(std::initializer_list<lines> parts)
{
    lines all;
    for (const lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

const lines reboots = {"shell reboot -f", "program reboot -f"};
const lines powers_off = {"shell poweroff", "program poweroff"};

} // namespace

TEST(PowerState, AnUnknownCodeOnlyPrintsTheLastLine)
{
    virtual_terminal board;
    prepare(board, "Full\n");
    for (const int code : {0, 1, -1, 2, 4, 0x10000, 0x20001, 0x40000, 0x200001, 0x800001, 0x220000, 0x820000, 0xA20000,
                           0x20000 - 1, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(request(code), last_line) << code;
        EXPECT_EQ(told(board, {"missing", "open", "read", "write", "shell", "program", "syslog"}), lines{}) << code;
    }
}

TEST(PowerState, OffOnTheBatteryPowersOff)
{
    virtual_terminal board;
    for (const char* status : {"Discharging\n", "Not charging\n"}) {
        prepare(board, status);
        EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(1) + last_line) << status;
        EXPECT_EQ(steps(board),
                  joined({{"read " KT_SUPPLY_DIR "status " + std::string(status)}, sp_power_steps(1), powers_off}))
            << status;
        EXPECT_EQ(content_of(reboot_file), "");
    }
}

TEST(PowerState, OffWithTheChargerRestarts)
{
    virtual_terminal board;
    for (const char* status : {"Charging\n", "Full\n", "Unknown\n", "Melting\n"}) {
        prepare(board, status);
        EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line) << status;
        EXPECT_EQ(steps(board),
                  joined({{"read " KT_SUPPLY_DIR "status " + std::string(status)}, sp_power_steps(0), reboots}))
            << status;
        EXPECT_EQ(content_of(reboot_file), "");
    }
}

TEST(PowerState, OffOnHardwareVersion50Restarts)
{
    virtual_terminal board;
    prepare(board, "Discharging\n", "50");
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line);
    EXPECT_EQ(steps(board), joined({sp_power_steps(0), reboots}));
}

TEST(PowerState, OffPowersOffWhereTheMainsCannotBeTold)
{
    virtual_terminal board;
    prepare(board, "Charging\n");
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO});
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + "ac_supply get ac online error\n" + sp_power_line(1) + last_line);
    EXPECT_EQ(steps(board), joined({{"read " KT_SUPPLY_DIR "status  = EIO"}, sp_power_steps(1), powers_off}));
}

TEST(PowerState, OffPowersOffBeforeTheBatteryWasLookedFor)
{
    virtual_terminal board;
    board.program("reboot", 0);
    board.program("poweroff", 0);
    give_supply(board, "Charging\n");
    board.forget();
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(1) + last_line);
    EXPECT_EQ(steps(board), joined({sp_power_steps(1), powers_off}));
}

TEST(PowerState, ResetAsksForChargingAndRestarts)
{
    virtual_terminal board;
    for (const char* status : {"Discharging\n", "Charging\n"}) { // all the same with and without the charger
        prepare(board, status);
        (void)mkdir("/kt/kt_module", 0755);
        EXPECT_EQ(request(POWER_STATE_RESET),
                  "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + last_line);
        EXPECT_EQ(told(board, {"read", "shell", "program", "syslog"}),
                  (lines{"shell echo charging > /kt/kt_module/reboot",
                         "shell echo 0 > /sys/class/kt_misc/ioctl/sp_power", "shell reboot -f", "program reboot -f"}))
            << status;
        EXPECT_EQ(board.writes(KT_IOCTL_DIR "sp_power"), lines{"0\n"});
        EXPECT_EQ(content_of(reboot_file), "charging\n");
    }
}

TEST(PowerState, WhatTheCommandsPrintStandsBetweenTheLines)
{
    virtual_terminal board;
    prepare(board, "Charging\n");
    board.program("reboot", 0, "going down\n");
    board.program("poweroff", 0, "going off\n");
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(0) + "going down\n" + last_line);
    EXPECT_EQ(request(POWER_STATE_RESET),
              "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + "going down\n" + last_line);
    supply_says(board, "status", "Discharging\n");
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(1) + "going off\n" + last_line);
}

TEST(PowerState, AFailingCommandStopsNothing)
{
    virtual_terminal board;
    prepare(board, "Charging\n");
    board.program("reboot", 1);
    board.program("poweroff", 1);
    board.fail(KT_IOCTL_DIR "sp_power", {.on = "write", .error = EIO});
    const lines first = {"shell echo 0 > /sys/class/kt_misc/ioctl/sp_power",
                         "write /sys/class/kt_misc/ioctl/sp_power 0\n = EIO"};
    EXPECT_EQ(request(POWER_STATE_OFF), off_line + sp_power_line(0) + last_line);
    EXPECT_EQ(told(board, {"write", "shell", "program", "syslog"}), joined({first, reboots}));

    ASSERT_EQ(mkdir(reboot_file, 0755), 0); // no file can be written there
    board.forget();
    EXPECT_EQ(request(POWER_STATE_RESET),
              "kt_system_power_state to POWER_STATE_RESET\n" + sp_power_line(0) + last_line);
    EXPECT_EQ(steps(board), joined({{"shell echo charging > /kt/kt_module/reboot"}, first, reboots}));
}

namespace {

const std::string suspend_line = "kt_system_power_state to POWER_STATE_SUSPEND\n";

/** A board whose sleep is over at once: the kernel's files are plain attributes, and event 5 has woken it. */
void prepare_sleep(virtual_terminal& board, const std::string& module, const std::string& keep_alive = "0\n")
{
    prepare(board);
    for (const char* file : {"/sys/power/state", "/sys/power/wakeup_count"})
        board.remove(file); // those made anew have no driver behind them
    board.attribute("/sys/power/state", {.text = "freeze mem\n"});
    board.attribute("/sys/power/wakeup_count", {.text = "7\n"});
    board.attribute(KT_IOCTL_DIR "kt_pm_event", {.text = "5\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "kt_wifi_keepalived", {.text = keep_alive});
    board.attribute(rfkill_state, {.text = "1\n"});
    has_versions(board, "200", module);
    board.forget();
}

/** What the sleep cycle prints when it sleeps once, and what it does. */
std::string sleep_lines(const std::string& wakeup_event = "5")
{
    return "heartbeat_jiffies 0(ms),heartbeat_period 0(ms)\n"
           "system: echo mem > /sys/power/state\n"
           "# hal kt_pm_wakeup_event " +
           wakeup_event + " #\n";
}

lines sleep_steps(const std::string& keep_alive = "0\n", const std::string& wakeup_event = "5")
{
    return {
        "read /sys/power/wakeup_count 7\n",
        "write /sys/power/wakeup_count 7\n",
        "read " KT_IOCTL_DIR "kt_wifi_keepalived " + keep_alive,
        "shell echo mem > /sys/power/state",
        "write /sys/power/state mem\n",
        "read " KT_IOCTL_DIR "kt_pm_event " + wakeup_event + "\n",
    };
}

lines asks_keep_alive(const std::string& keep_alive = "0\n")
{
    return {"read " KT_IOCTL_DIR "kt_wifi_keepalived " + keep_alive};
}

lines reads_radio(const std::string& state)
{
    return {"read " + std::string(rfkill_state) + " " + state};
}

const lines blocks = {"shell rfkill block wifi", "program rfkill block wifi"};
const lines unblocks = {"shell rfkill unblock wifi", "program rfkill unblock wifi"};

} // namespace

TEST(PowerStateSuspend, TheRadioOfModule1IsOffDuringTheSleep)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    for (const std::string state : {"1\n", "2\n", "-1\n"}) {
        board.attribute(rfkill_state, {.text = state});
        board.forget();
        EXPECT_EQ(request(POWER_STATE_SUSPEND, 5),
                  suspend_line + "rfkill block wifi\n" + sleep_lines() + "rfkill unblock wifi\nout of sleep event 5 \n")
            << state;
        EXPECT_EQ(steps(board), joined({asks_keep_alive(), reads_radio(state), blocks, sleep_steps(), unblocks}))
            << state;
    }
}

TEST(PowerStateSuspend, ARadioThatIsOffStaysOff)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    for (const std::string state : {"0\n", ""}) {
        board.attribute(rfkill_state, {.text = state});
        board.forget();
        EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
        EXPECT_EQ(steps(board), joined({asks_keep_alive(), reads_radio(state), sleep_steps()}));
    }
}

TEST(PowerStateSuspend, ARadioWhoseStateCannotBeReadIsSwitchedOff)
{
    const std::string radio = rfkill_state;
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.fail(rfkill_state, {.on = "read", .error = EIO});
    const std::string expected =
        suspend_line + "rfkill block wifi\n" + sleep_lines() + "rfkill unblock wifi\nout of sleep event 5 \n";
    EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), expected);
    EXPECT_EQ(steps(board), joined({asks_keep_alive(),
                                    {"read " + radio + "  = EIO",
                                     "syslog 3 kt_sys_attr_get_int can't read " + radio + " Input/output error\n"},
                                    blocks,
                                    sleep_steps(),
                                    unblocks}));

    board.remove("/sys/class/rfkill");
    board.forget();
    EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), expected);
    EXPECT_EQ(steps(board), joined({asks_keep_alive(),
                                    {"syslog 3 kt_sys_attr_get_int stat " + radio + " No such file or directory\n"},
                                    blocks,
                                    sleep_steps(),
                                    unblocks}));
}

TEST(PowerStateSuspend, OtherModulesAreNotSwitched)
{
    virtual_terminal board;
    for (const char* module : {"2", "0", "10", "11", "-1", "", "x"}) {
        prepare_sleep(board, module);
        EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n") << module;
        EXPECT_EQ(steps(board), joined({asks_keep_alive(), sleep_steps()})) << module;
    }
}

TEST(PowerStateSuspend, ARadioThatShallStayUpIsNotEvenAsked)
{
    virtual_terminal board;
    for (const std::string keep_alive : {"1\n", "2\n", "4294967295\n"}) {
        prepare_sleep(board, "1", keep_alive);
        EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
        EXPECT_EQ(steps(board), joined({asks_keep_alive(keep_alive), sleep_steps(keep_alive)})) << keep_alive;
    }
}

TEST(PowerStateSuspend, AKeepAliveThatCannotBeReadCountsAsWanted)
{
    const std::string log = "syslog 3 kt_sys_attr_get_int can't read " KT_IOCTL_DIR "kt_wifi_keepalived "
                            "Input/output error\n";
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.fail(KT_IOCTL_DIR "kt_wifi_keepalived", {.on = "read", .error = EIO});
    EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
    lines expected = sleep_steps(" = EIO");
    expected.insert(expected.begin() + 3, log); // behind the sleep cycle's own look
    EXPECT_EQ(steps(board), joined({asks_keep_alive(" = EIO"), {log}, expected}));
}

TEST(PowerStateSuspend, GivesWhatEndedTheSleep)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    for (const std::string woken_by : {"0", "1", "4", "16", "33", "2147483647"}) {
        board.attribute(KT_IOCTL_DIR "kt_pm_event", {.text = woken_by + "\n", .mode = 0444});
        board.forget();
        EXPECT_EQ(request(POWER_STATE_SUSPEND, std::stoi(woken_by)),
                  suspend_line + "rfkill block wifi\n" + sleep_lines(woken_by) +
                      "rfkill unblock wifi\nout of sleep event " + woken_by + " \n");
        EXPECT_EQ(steps(board),
                  joined({asks_keep_alive(), reads_radio("1\n"), blocks, sleep_steps("0\n", woken_by), unblocks}));
    }
}

TEST(PowerStateSuspend, FailingCommandsStopNothing)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.program("rfkill", 1);
    board.fail("/sys/power/state", {.on = "write", .error = EBUSY}); // the kernel did not sleep
    EXPECT_EQ(request(POWER_STATE_SUSPEND, 5),
              suspend_line + "rfkill block wifi\n" + sleep_lines() + "rfkill unblock wifi\nout of sleep event 5 \n");
    lines expected = sleep_steps();
    expected[4] += " = EBUSY";
    EXPECT_EQ(steps(board), joined({asks_keep_alive(), reads_radio("1\n"), blocks, expected, unblocks}));
}

TEST(PowerStateSuspend, WhatRfkillPrintsStandsBehindItsLine)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.program("rfkill", 0, "done\n");
    EXPECT_EQ(request(POWER_STATE_SUSPEND, 5), suspend_line + "rfkill block wifi\ndone\n" + sleep_lines() +
                                                   "rfkill unblock wifi\ndone\nout of sleep event 5 \n");
}

TEST(PowerStateSuspend, TheRadioHasAHundredMillisecondsBeforeTheSleep)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    double shortest_s = 3600;
    for (int left = 5; left > 0; --left) {
        board.forget();
        (void)request(POWER_STATE_SUSPEND, 5);
        double blocked_s = 0, slept_s = 0;
        for (const event& each : board.events_of({"program", "read"})) {
            if (each.kind == "program" && blocked_s == 0)
                blocked_s = each.time_s;
            if (each.path == "/sys/power/wakeup_count")
                slept_s = each.time_s;
        }
        shortest_s = std::min(shortest_s, slept_s - blocked_s);
    }
    EXPECT_GE(shortest_s, 0.1);
    EXPECT_LT(shortest_s, 0.2);
}

TEST(PowerStateSuspend, NobodyWaitsForARadioThatIsNotSwitched)
{
    virtual_terminal board;
    prepare_sleep(board, "2");
    auto shortest = std::chrono::steady_clock::duration::max();
    for (int left = 10; left > 0; --left) {
        const auto start = std::chrono::steady_clock::now();
        (void)request(POWER_STATE_SUSPEND, 5);
        shortest = std::min(shortest, std::chrono::steady_clock::now() - start);
    }
    EXPECT_LT(shortest, 100ms);
}
