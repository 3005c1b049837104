/** Suspend: the radio around the sleep, what is printed, and what is asked of the board in which order. */
#include "tests/power/power_request.h"
#include "tests/support/sleep_requests.h"

#include <cerrno>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* rfkill_state = "/sys/class/rfkill/rfkill0/state";

const std::string suspend_line = "kt_system_power_state to POWER_STATE_SUSPEND\n";

/** A board whose sleep is over at once: the kernel's files are plain attributes, and event 5 has woken it. */
void prepare_sleep(virtual_terminal& board, const std::string& module, const std::string& keep_alive = "0\n")
{
    prepare_power(board);
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
        EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5),
                  suspend_line + "rfkill block wifi\n" + sleep_lines() + "rfkill unblock wifi\nout of sleep event 5 \n")
            << state;
        EXPECT_EQ(power_steps(board), joined({asks_keep_alive(), reads_radio(state), blocks, sleep_steps(), unblocks}))
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
        EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
        EXPECT_EQ(power_steps(board), joined({asks_keep_alive(), reads_radio(state), sleep_steps()}));
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
    EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), expected);
    EXPECT_EQ(power_steps(board), joined({asks_keep_alive(),
                                          {"read " + radio + "  = EIO", "syslog 3 kt_sys_attr_get_int can't read " +
                                                                            radio + " Input/output error\n"},
                                          blocks,
                                          sleep_steps(),
                                          unblocks}));

    board.remove("/sys/class/rfkill");
    board.forget();
    EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), expected);
    EXPECT_EQ(power_steps(board),
              joined({asks_keep_alive(),
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
        EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n")
            << module;
        EXPECT_EQ(power_steps(board), joined({asks_keep_alive(), sleep_steps()})) << module;
    }
}

TEST(PowerStateSuspend, ARadioThatShallStayUpIsNotEvenAsked)
{
    virtual_terminal board;
    for (const std::string keep_alive : {"1\n", "2\n", "4294967295\n"}) {
        prepare_sleep(board, "1", keep_alive);
        EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
        EXPECT_EQ(power_steps(board), joined({asks_keep_alive(keep_alive), sleep_steps(keep_alive)})) << keep_alive;
    }
}

TEST(PowerStateSuspend, AKeepAliveThatCannotBeReadCountsAsWanted)
{
    const std::string log = "syslog 3 kt_sys_attr_get_int can't read " KT_IOCTL_DIR "kt_wifi_keepalived "
                            "Input/output error\n";
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.fail(KT_IOCTL_DIR "kt_wifi_keepalived", {.on = "read", .error = EIO});
    EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), suspend_line + sleep_lines() + "out of sleep event 5 \n");
    lines expected = sleep_steps(" = EIO");
    expected.insert(expected.begin() + 3, log); // behind the sleep cycle's own look
    EXPECT_EQ(power_steps(board), joined({asks_keep_alive(" = EIO"), {log}, expected}));
}

TEST(PowerStateSuspend, GivesWhatEndedTheSleep)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    for (const std::string woken_by : {"0", "1", "4", "16", "33", "2147483647"}) {
        board.attribute(KT_IOCTL_DIR "kt_pm_event", {.text = woken_by + "\n", .mode = 0444});
        board.forget();
        EXPECT_EQ(power_request(POWER_STATE_SUSPEND, std::stoi(woken_by)),
                  suspend_line + "rfkill block wifi\n" + sleep_lines(woken_by) +
                      "rfkill unblock wifi\nout of sleep event " + woken_by + " \n");
        EXPECT_EQ(power_steps(board),
                  joined({asks_keep_alive(), reads_radio("1\n"), blocks, sleep_steps("0\n", woken_by), unblocks}));
    }
}

TEST(PowerStateSuspend, FailingCommandsStopNothing)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.program("rfkill", 1);
    board.fail("/sys/power/state", {.on = "write", .error = EBUSY}); // the kernel did not sleep
    EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5),
              suspend_line + "rfkill block wifi\n" + sleep_lines() + "rfkill unblock wifi\nout of sleep event 5 \n");
    lines expected = sleep_steps();
    expected[4] += " = EBUSY";
    EXPECT_EQ(power_steps(board), joined({asks_keep_alive(), reads_radio("1\n"), blocks, expected, unblocks}));
}

TEST(PowerStateSuspend, WhatRfkillPrintsStandsBehindItsLine)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    board.program("rfkill", 0, "done\n");
    EXPECT_EQ(power_request(POWER_STATE_SUSPEND, 5), suspend_line + "rfkill block wifi\ndone\n" + sleep_lines() +
                                                         "rfkill unblock wifi\ndone\nout of sleep event 5 \n");
}

TEST(PowerStateSuspend, TheRadioHasAHundredMillisecondsBeforeTheSleep)
{
    virtual_terminal board;
    prepare_sleep(board, "1");
    (void)power_request(POWER_STATE_SUSPEND, 5);
    double blocked_s = 0, slept_s = 0;
    for (const event& each : board.events_of({"program", "read"})) {
        if (each.kind == "program" && blocked_s == 0)
            blocked_s = each.time_s;
        if (each.path == "/sys/power/wakeup_count")
            slept_s = each.time_s;
    }
    EXPECT_GE(slept_s - blocked_s, 0.1); // no later

    const sleeper_run run = trace_sleeper("kt_system_power_state", POWER_STATE_SUSPEND);
    EXPECT_EQ(run.requests, (std::vector<sleep_request>{{0, 100'000'000}})); // and no longer
    EXPECT_EQ(run.status, 0);
}

TEST(PowerStateSuspend, NobodyWaitsForARadioThatIsNotSwitched)
{
    virtual_terminal board;
    prepare_sleep(board, "2");
    const sleeper_run run = trace_sleeper("kt_system_power_state", POWER_STATE_SUSPEND);
    EXPECT_EQ(run.requests, std::vector<sleep_request>{});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(board.writes("/sys/power/state"), lines{"mem\n"}); // the whole sleep was gone through
}
