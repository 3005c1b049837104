/** Switches that are shell commands: the command's text, its echo, what reaches the board, and the result. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"
#include "tests/support/sleep_requests.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

/** One call that runs one command which writes one attribute. */
struct row {
    const char* call_text;
    int (*call)();
    const char* command;
    bool echoed;
    const char* attribute;
    const char* bytes;
    bool gives_status; /**< The result is the shell's wait status; else always 0. */
};
const row rows[] = {
    {"kt_led_control(1, 1)", [] { return kt_led_control(1, 1); }, "echo 1 1 > /sys/class/kt_misc/nfc/nfc_io", true,
     KT_NFC_DIR "nfc_io", "1 1\n", false},
    {"kt_led_control(2, 0)", [] { return kt_led_control(2, 0); }, "echo 2 0 > /sys/class/kt_misc/nfc/nfc_io", true,
     KT_NFC_DIR "nfc_io", "2 0\n", false},
    {"kt_led_control(3, 7)", [] { return kt_led_control(3, 7); }, "echo 3 7 > /sys/class/kt_misc/nfc/nfc_io", true,
     KT_NFC_DIR "nfc_io", "3 7\n", false},
    {"kt_led_control(4, -1)", [] { return kt_led_control(4, -1); }, "echo 4 -1 > /sys/class/kt_misc/nfc/nfc_io", true,
     KT_NFC_DIR "nfc_io", "4 -1\n", false},
    {"kt_gps_ctrl(1)", [] { return kt_gps_ctrl(1); }, "echo 1 > /sys/class/kt_misc/ioctl/gps_pwr", false,
     KT_IOCTL_DIR "gps_pwr", "1\n", true},
    {"kt_gps_ctrl(-3)", [] { return kt_gps_ctrl(-3); }, "echo 1 > /sys/class/kt_misc/ioctl/gps_pwr", false,
     KT_IOCTL_DIR "gps_pwr", "1\n", true},
    {"kt_gps_ctrl(0)", [] { return kt_gps_ctrl(0); }, "echo 0 > /sys/class/kt_misc/ioctl/gps_pwr", false,
     KT_IOCTL_DIR "gps_pwr", "0\n", true},
    {"kt_sp_edl()", [] { return kt_sp_edl(); }, "echo 3 > /sys/class/kt_misc/ioctl/sp_power", false,
     KT_IOCTL_DIR "sp_power", "3\n", true},
    {"kt_sp_power(0)", [] { return kt_sp_power(0); }, "echo 0 > /sys/class/kt_misc/ioctl/sp_power", true,
     KT_IOCTL_DIR "sp_power", "0\n", true},
    {"kt_sp_power(2)", [] { return kt_sp_power(2); }, "echo 2 > /sys/class/kt_misc/ioctl/sp_power", true,
     KT_IOCTL_DIR "sp_power", "2\n", true},
    {"kt_sp_power(-1)", [] { return kt_sp_power(-1); }, "echo -1 > /sys/class/kt_misc/ioctl/sp_power", true,
     KT_IOCTL_DIR "sp_power", "-1\n", true},
    {"kt_adc_suspend(1)", [] { return kt_adc_suspend(1); }, "echo 60 > /sys/class/kt_misc/ioctl/adc_suspend", false,
     KT_IOCTL_DIR "adc_suspend", "60\n", false},
    {"kt_adc_suspend(9)", [] { return kt_adc_suspend(9); }, "echo 60 > /sys/class/kt_misc/ioctl/adc_suspend", false,
     KT_IOCTL_DIR "adc_suspend", "60\n", false},
    {"kt_adc_suspend(0)", [] { return kt_adc_suspend(0); }, "echo 5 > /sys/class/kt_misc/ioctl/adc_suspend", false,
     KT_IOCTL_DIR "adc_suspend", "5\n", false},
};

std::string echo_of(const row& tried)
{
    return tried.echoed ? "system: " + std::string(tried.command) + "\n" : "";
}

} // namespace

TEST(Commands, EachSwitchRunsItsCommandAndReachesTheBoard)
{
    virtual_terminal board;
    for (const row& tried : rows) {
        board.attribute(tried.attribute, {.text = "before\n"});
        board.forget();
        int result = -1;
        EXPECT_EQ(printed([&] { result = tried.call(); }), echo_of(tried)) << tried.call_text;
        EXPECT_EQ(result, 0) << tried.call_text;
        EXPECT_EQ(
            told(board, {"shell", "write", "program", "syslog"}),
            (lines{"shell " + std::string(tried.command), "write " + std::string(tried.attribute) + " " + tried.bytes}))
            << tried.call_text;
    }
}

TEST(Commands, ARefusedWriteShowsInTheResultWhereThatIsTheShells)
{
    virtual_terminal board;
    for (const row& tried : rows) {
        board.attribute(tried.attribute, {.text = "before\n"});
        const int rule = board.fail(tried.attribute, {.on = "open", .error = EACCES});
        int result = -1;
        EXPECT_EQ(printed([&] { result = tried.call(); }), echo_of(tried)) << tried.call_text;
        board.mend(rule);
        if (!tried.gives_status) {
            EXPECT_EQ(result, 0) << tried.call_text;
            continue;
        }
        EXPECT_TRUE(WIFEXITED(result)) << tried.call_text;
        EXPECT_NE(WEXITSTATUS(result), 0) << tried.call_text;
        EXPECT_EQ(board.text(tried.attribute), "before\n") << tried.call_text;
    }
}

TEST(Commands, AMissingAttributeIsNotMadeByTheShell)
{
    virtual_terminal board;
    board.remove(KT_IOCTL_DIR "gps_pwr");
    const int result = kt_gps_ctrl(1);
    EXPECT_NE(result, 0);
    EXPECT_EQ(kt_get_gps_power(), -1);
}

TEST(Commands, TheFifthLedIsAcceptedAndNoOtherIsThere)
{
    const struct {
        int led;
        int result;
    } leds[] = {{5, 0}, {6, -1}, {0, -1}, {-1, -1}, {100, -1}};
    virtual_terminal board;
    for (const auto& tried : leds) {
        board.forget();
        int result = 2;
        EXPECT_EQ(printed([&] { result = kt_led_control(tried.led, 1); }), "") << tried.led;
        EXPECT_EQ(result, tried.result) << tried.led;
        EXPECT_EQ(doings(board), lines{}) << tried.led;
    }
}

TEST(Commands, SuspendOfTheConverterIsFollowedByAHundredMicroseconds)
{
    virtual_terminal board;
    for (const unsigned int on : {0u, 1u}) {
        board.attribute(KT_IOCTL_DIR "adc_suspend", {.text = "before\n"});
        const sleeper_run run = trace_sleeper("kt_adc_suspend", on, {.end_at = 1}); // ended before it sleeps
        EXPECT_EQ(run.requests, std::vector<sleep_request>{(sleep_request{0, 100'000})});
        EXPECT_EQ(board.text(KT_IOCTL_DIR "adc_suspend"), on ? "60\n" : "5\n");
    }
}

TEST(Commands, WhatWasPrintedBeforeComesBeforeTheCommandsOutput)
{
    // Plain commands print no line of their own, but the caller's must still be out before theirs.
    virtual_terminal board;
    board.program("autodloader.sh", 0, "loading\n");
    const std::string text = printed([] {
        std::fputs("before\n", stdout);
        kt_reboot_edl();
        std::fputs("after\n", stdout);
    });
    EXPECT_EQ(text, "before\nloading\nafter\n");
}
