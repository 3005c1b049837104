/** The supervision of the modem: whether its daemon runs, and the rebuild when it does not. */
#include <kt_driver/net.h>
#include <kt_driver/serial.h>

#include "modem_double.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* ask = "pidof -s gsm0710muxd_bp";
constexpr const char* found_no_daemon = "system: pidof -s gsm0710muxd_bp\n"
                                        "task_check_run ret  256\n"; // exit status 1
constexpr const char* rebuild = "no gsm0710muxd_bp running,restart#####\n"
                                "system: rm -rf /dev/chn\n";
constexpr const char* start_daemon = "system: /kt/kt_module/gsm0710muxd_bp.sh &\n"
                                     "#cmux_ready start#\n";
constexpr const char* port_is_closed = "this serial don't init\n";

const lines rebuild_commands = {ask,
                                ask,
                                "echo 0 > /sys/class/kt_misc/ioctl/gsm_pwr",
                                "rm -rf /dev/chn",
                                "echo 1 > /sys/class/kt_misc/ioctl/gsm_pwr",
                                "/kt/kt_module/gsm0710muxd_bp.sh &"};

/** The handshake on a port that cannot be opened: each step says so, thirty times. */
std::string handshake_in_vain()
{
    std::string text = "#hal kt_serial_open 21#\n"
                       "KT_UART_COM21 error " +
                       std::string(strerror(ENOENT)) + "\n" + port_is_closed;
    for (int i = 0; i < 30; ++i)
        text += std::string(port_is_closed) + "write\n" + port_is_closed + "#UartGetRXBufCount 0#\n" + port_is_closed;
    return text + "#hal kt_serial_close 21#\n" + port_is_closed;
}

/** A check that has nothing to do: later ones do not wait for the start of the system. */
void check_once(virtual_terminal& board)
{
    const ready_modem modem(board);
    EXPECT_EQ(kt_gsm_cmux_run_check(), 1);
}

/** The modem's daemon has crashed, its start script does nothing, and its line has gone. */
void lose_modem(virtual_terminal& board)
{
    put_script("/kt/kt_module/gsm0710muxd_bp.sh", "exit 0");
    end_daemons();
    board.fail("/dev/ttyS0", {.on = "lookup", .error = ENOENT});
}

struct timed_check {
    int result = 0;
    std::string text;
    std::chrono::nanoseconds took{};
};

timed_check check()
{
    timed_check done;
    const auto begin = std::chrono::steady_clock::now();
    done.text = with_pid(printed([&] { done.result = kt_gsm_cmux_run_check(); }));
    done.took = std::chrono::steady_clock::now() - begin;
    return done;
}

/** How often a path was looked for in vain: when its folder is missing too, that is what the journal tells. */
int missed(virtual_terminal& board, std::string_view path, std::string_view folder = {})
{
    int count = 0;
    for (const auto& happened : board.events_of({"missing"}))
        count += happened.path == path || (!folder.empty() && happened.path == folder);
    return count;
}

} // namespace

TEST(TaskCheckRun, AsksForTheProcessByItsName)
{
    virtual_terminal board;
    const running_daemon daemon;
    board.forget();
    int result = -1;
    EXPECT_EQ(with_pid(printed([&] { result = task_check_run("gsm0710muxd_bp"); })), "system: pidof -s gsm0710muxd_bp\n"
                                                                                     "PID\n"
                                                                                     "task_check_run ret  0\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(board.commands(), lines{ask});

    EXPECT_EQ(printed([&] { result = task_check_run("no_such_daemon"); }), "system: pidof -s no_such_daemon\n"
                                                                           "task_check_run ret  256\n");
    EXPECT_EQ(result, 0);
}

TEST(TaskCheckRun, GoesByTheCommandsStatusAlone)
{
    virtual_terminal board;
    int result = -1;
    EXPECT_EQ(printed([&] { result = task_check_run("x 2> /dev/null; exit 3"); }),
              "system: pidof -s x 2> /dev/null; exit 3\n"
              "task_check_run ret  768\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed([&] { result = task_check_run("x || true"); }), "system: pidof -s x || true\n"
                                                                      "task_check_run ret  0\n");
    EXPECT_EQ(result, 1);
}

TEST(TaskCheckRun, NoNameIsRefused)
{
    virtual_terminal board;
    board.forget();
    int result = -1;
    errno = 0;
    const std::string text = printed([&] { result = task_check_run(nullptr); });
    const int cause = errno;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(cause, EINVAL);
    EXPECT_EQ(text, "");
    EXPECT_EQ(doings(board), lines{});
}

TEST(ModemCheck, IsContentWithARunningDaemon)
{
    virtual_terminal board;
    const ready_modem modem(board);
    board.forget();
    timed_check done = check();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, first_check_finds);
    EXPECT_EQ(board.commands(), lines{ask});
    EXPECT_EQ(missed(board, "/dev/chn/3", "/dev/chn"), 0);

    board.remove("/dev/chn"); // a later check does not look for the channel
    board.forget();
    done = check();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, later_check_finds);
    EXPECT_EQ(missed(board, "/dev/chn/3", "/dev/chn"), 0);
}

TEST(ModemCheck, TheFirstOfAProcessWaitsLongForTheChannel)
{
    virtual_terminal board;
    const running_daemon daemon;
    const int rule = board.fail("/dev/chn/3", {.on = "lookup", .error = ENOENT});
    board.forget();
    timed_check done = check();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, later_check_finds) << "it goes on without";
    EXPECT_EQ(missed(board, "/dev/chn/3", "/dev/chn"), 300);
    EXPECT_GE(done.took, 300 * 50ms);

    board.forget();
    done = check();
    EXPECT_EQ(done.text, later_check_finds);
    EXPECT_EQ(missed(board, "/dev/chn/3", "/dev/chn"), 0);
    board.mend(rule);
}

TEST(ModemCheck, TheFirstGoesOnAsSoonAsTheChannelIsThere)
{
    virtual_terminal board;
    const ready_modem modem(board);
    board.fail("/dev/chn/3", {.on = "lookup", .error = ENOENT, .times = 10});
    board.forget();
    const timed_check done = check();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, first_check_finds);
    EXPECT_GE(done.took, 10 * 50ms);
    EXPECT_LT(done.took, 7s);
}

TEST(ModemCheck, AsksTwiceBeforeItBelievesThatTheDaemonIsGone)
{
    virtual_terminal board;
    const ready_modem modem(board);
    board.fail("sh", {.on = "run", .error = EIO, .times = 1}); // the first question gets no answer
    board.forget();
    testing::internal::CaptureStderr(); // the shell complains
    const timed_check done = check();
    (void)testing::internal::GetCapturedStderr();
    EXPECT_EQ(done.result, 1);
    EXPECT_EQ(done.text, "find /dev/chn/3\n"
                         "system: pidof -s gsm0710muxd_bp\n"
                         "task_check_run ret  32256\n" // exit status 126
                         "system: pidof -s gsm0710muxd_bp\n"
                         "PID\n"
                         "task_check_run ret  0\n");
    EXPECT_GE(done.took, 200ms);
}

TEST(ModemCheck, RebuildsAllWhenTheDaemonIsGone)
{
    virtual_terminal board;
    check_once(board);
    lose_modem(board);
    board.forget();
    const timed_check done = check();
    EXPECT_EQ(done.text, std::string(found_no_daemon) + found_no_daemon + rebuild + start_daemon + handshake_in_vain());
    EXPECT_EQ(done.result, -1) << "the port is closed";
    EXPECT_EQ(board.commands(), rebuild_commands);
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "gsm_pwr"), (lines{"0\n", "1\n"}));
    EXPECT_EQ(missed(board, "/dev/ttyS0"), 20);
    EXPECT_EQ(missed(board, "/dev/chn/3", "/dev/chn"), 15 + 1) << "the last one is the port's opening";

    const std::vector<kt::terminal::event> commands = board.events_of({"shell"});
    ASSERT_EQ(commands.size(), rebuild_commands.size());
    EXPECT_GE(commands[1].time_s - commands[0].time_s, 0.2) << "asks again after 200 ms";
    EXPECT_GE(commands[4].time_s - commands[3].time_s, 0.1) << "off for 100 ms";
    EXPECT_GE(commands[5].time_s - commands[4].time_s, 0.1 + 20 * 0.05) << "on for 100 ms, then looks for the line";
    EXPECT_GE(done.took, 200ms + 100ms + 100ms + 20 * 50ms + 15 * 200ms + 30 * 500ms);
}

TEST(ModemCheck, ARebuildFindsTheLineAndCountsAsAStart)
{
    virtual_terminal board;
    check_once(board);
    lose_modem(board);
    board.mend_all();
    EXPECT_EQ(kt_gsm_stop(), 0);
    const timed_check done = check();
    EXPECT_EQ(done.text, std::string(found_no_daemon) + found_no_daemon + rebuild + "find /dev/ttyS0\n" + start_daemon +
                             handshake_in_vain());
    board.forget();
    EXPECT_EQ(printed(kt_gsm_start), "kt_gsm_start \n") << "there is nothing left to start";
    EXPECT_EQ(board.commands(), lines{"echo 1 > /sys/class/kt_misc/ioctl/gsm_pwr"});
}
