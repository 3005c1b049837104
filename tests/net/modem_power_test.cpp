/** Switching the modem on and off, and its daemon with it: commands, order, texts and pauses. */
#include <kt_driver/net.h>

#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* power_on = "echo 1 > /sys/class/kt_misc/ioctl/gsm_pwr";
constexpr const char* power_off = "echo 0 > /sys/class/kt_misc/ioctl/gsm_pwr";
constexpr const char* kill_daemon = "/kt/kt_module/gsm0710muxd_bp-kill.sh";
constexpr const char* remove_channels = "rm -rf /dev/chn";
constexpr const char* start_daemon = "/kt/kt_module/gsm0710muxd_bp.sh &";

constexpr const char* start_script = "/kt/kt_module/gsm0710muxd_bp.sh";

constexpr const char* stopped = "kt_gsm_stop \n"
                                "system: /kt/kt_module/gsm0710muxd_bp-kill.sh\n"
                                "system: rm -rf /dev/chn\n";
constexpr const char* started = "kt_gsm_start \n"
                                "find /dev/ttyS0\n"
                                "system: /kt/kt_module/gsm0710muxd_bp.sh &\n";

struct timed_text {
    std::string text;
    std::chrono::nanoseconds took;
};

/** What a call prints and how long it takes; its result is expected to be 0. */
timed_text run(int (*call)())
{
    int result = -1;
    const auto begin = std::chrono::steady_clock::now();
    const std::string text = printed([&] { result = call(); });
    EXPECT_EQ(result, 0);
    return {text, std::chrono::steady_clock::now() - begin};
}

/** How often a path was looked for in vain. */
int missed(virtual_terminal& board, std::string_view path)
{
    int count = 0;
    for (const auto& happened : board.events_of({"missing"}))
        count += happened.path == path;
    return count;
}

} // namespace

TEST(ModemPower, TheFirstStartOnlySwitchesIt)
{
    virtual_terminal board;
    board.forget();
    const timed_text done = run(kt_gsm_start);
    EXPECT_EQ(done.text, "kt_gsm_start \n");
    EXPECT_EQ(board.commands(), lines{power_on});
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "gsm_pwr"), lines{"1\n"});
    EXPECT_EQ(missed(board, "/dev/ttyS0"), 0);
    EXPECT_LT(done.took, 100ms);

    board.forget();
    EXPECT_EQ(run(kt_gsm_start).text, "kt_gsm_start \n") << "and so does the second";
    EXPECT_EQ(board.commands(), lines{power_on});
}

TEST(ModemPower, TheFirstStopEndsTheDaemonAndTheSecondOnlySwitches)
{
    virtual_terminal board;
    board.forget();
    timed_text done = run(kt_gsm_stop);
    EXPECT_EQ(done.text, stopped);
    EXPECT_EQ(board.commands(), (lines{power_off, kill_daemon, remove_channels}));
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "gsm_pwr"), lines{"0\n"});
    EXPECT_GE(done.took, 100ms);

    board.forget();
    done = run(kt_gsm_stop);
    EXPECT_EQ(done.text, "kt_gsm_stop \n");
    EXPECT_EQ(board.commands(), lines{power_off});
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "gsm_pwr"), lines{"0\n"});
    EXPECT_LT(done.took, 100ms);
}

TEST(ModemPower, AStopRemovesTheChannels)
{
    virtual_terminal board;
    put_script(kill_daemon, "exit 0"); // what it leaves goes all the same
    board.attribute("/dev/chn/77", {.text = ""});
    EXPECT_EQ(kt_gsm_stop(), 0);
    EXPECT_THROW(board.text("/dev/chn/77"), kt::terminal::terminal_error);
}

TEST(ModemPower, AStartAfterAStopStartsTheDaemonToo)
{
    virtual_terminal board;
    EXPECT_EQ(kt_gsm_stop(), 0);
    for (int i = 0; i < 2; ++i) {
        board.forget();
        const timed_text done = run(kt_gsm_start);
        if (i == 0) {
            EXPECT_EQ(done.text, started);
            EXPECT_EQ(board.commands(), (lines{power_on, start_daemon}));
            EXPECT_GE(done.took, 200ms);
        } else {
            EXPECT_EQ(done.text, "kt_gsm_start \n") << "it is on";
            EXPECT_EQ(board.commands(), lines{power_on});
        }
    }
    board.forget();
    EXPECT_EQ(run(kt_gsm_stop).text, stopped);
}

TEST(ModemPower, AStartWithoutTheModemsLineLooksTwentyTimesAndGoesOn)
{
    virtual_terminal board;
    EXPECT_EQ(kt_gsm_stop(), 0);
    put_script(start_script, "exit 0"); // the daemon would look too
    board.fail("/dev/ttyS0", {.on = "lookup", .error = ENOENT});
    board.forget();
    const timed_text done = run(kt_gsm_start);
    EXPECT_EQ(done.text, "kt_gsm_start \n"
                         "system: /kt/kt_module/gsm0710muxd_bp.sh &\n");
    EXPECT_EQ(board.commands(), (lines{power_on, start_daemon}));
    EXPECT_EQ(missed(board, "/dev/ttyS0"), 20);
    EXPECT_GE(done.took, 100ms + 20 * 50ms + 100ms);
}

TEST(ModemPower, FailingCommandsAreNotReported)
{
    virtual_terminal board;
    put_script(start_script, "exit 1");
    put_script(kill_daemon, "exit 1");
    board.fail(KT_IOCTL_DIR "gsm_pwr", {.on = "open", .error = EACCES});
    testing::internal::CaptureStderr(); // the shells complain
    EXPECT_EQ(run(kt_gsm_stop).text, stopped);
    EXPECT_EQ(run(kt_gsm_start).text, started);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(ModemPower, IsTheAttributesValue)
{
    virtual_terminal board;
    for (const int value : {0, 1, 7}) {
        board.attribute(KT_IOCTL_DIR "gsm_pwr", {.text = std::to_string(value) + "\n"});
        board.forget();
        int result = -1;
        EXPECT_EQ(printed([&] { result = kt_get_gsm_power(); }), "");
        EXPECT_EQ(result, value);
        EXPECT_EQ(doings(board), lines{"open O_RDWR " KT_IOCTL_DIR "gsm_pwr"});
    }
    board.fail(KT_IOCTL_DIR "gsm_pwr", {.on = "read", .error = EIO});
    errno = 0;
    EXPECT_EQ(kt_get_gsm_power(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int can't read " KT_IOCTL_DIR "gsm_pwr Input/output error\n");
}

TEST(ModemPower, StatusSuspendResumeAndSupportDoNothing)
{
    virtual_terminal board;
    board.forget();
    int status = 0;
    int support = 0;
    EXPECT_EQ(printed([&] {
                  kt_gsm_suspend();
                  kt_gsm_resume();
                  status = kt_gsm_status();
                  support = kt_is_support_dsss();
              }),
              "");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(support, 1);
    EXPECT_EQ(doings(board), lines{});
}
