/** Starting pppd: the child, what it does before pppd, what pppd gets, and when a start is refused. */
#include <kt_driver/net.h>

#include "modem_double.h"
#include "own_pppd.h"
#include "refused_call.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

/** Starts a deferred session; what that and its child, which ends, print. */
std::string printed_by_start(pppd_task* task)
{
    return with_pid(printed([&] {
        EXPECT_EQ(pppd_task_start(task), 0);
        (void)wait_for_end_of_child();
    }));
}

} // namespace

TEST(SessionStart, RunsPppdAfterTheModemsCheck)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("printf '%s\\n' \"$#\" \"$@\" > /tmp/arguments; echo pppd speaks");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    board.forget();
    EXPECT_EQ(printed_by_start(task), "#hal pppd_task_start #\n" + std::string(first_check_finds) + "pppd speaks\n");
    EXPECT_EQ(bytes_of("/tmp/arguments"), "2\ncall\nkt_wireless_module\n");
    EXPECT_EQ(board.commands(), lines{"pidof -s gsm0710muxd_bp"});
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, HappensAtOnceUnlessDeferred)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("echo pppd speaks");
    pppd_task* task = nullptr;
    EXPECT_EQ(with_pid(printed([&] {
                  task = pppd_task_create(session_name, nullptr, 0);
                  (void)wait_for_end_of_child();
              })),
              "#hal pppd_task_create #\n"
              "[WARNING] auth_script skip pap/chap auth\n" +
                  std::string(first_check_finds) + "pppd speaks\n");
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, PrintsNothingTwice)
{
    // What waits in the stream's buffer is copied by fork; a child that ends by exit would print its copy.
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd.remove();
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    const std::string text = with_pid(printed([&] {
        std::fputs("before ", stdout);
        EXPECT_EQ(pppd_task_start(task), 0);
        (void)wait_for_end_of_child();
        std::fputs("after\n", stdout);
    }));
    EXPECT_EQ(text, "before #hal pppd_task_start #\n" + std::string(first_check_finds) + "after\n");
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, TheCheckIsTheChildsOwn)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("true");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    for (int i = 0; i < 2; ++i) { // each child's check is its process's first
        EXPECT_EQ(printed_by_start(task), "#hal pppd_task_start #\n" + std::string(first_check_finds)) << i;
        EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
    }
    int result = -1;
    EXPECT_EQ(with_pid(printed([&] { result = kt_gsm_cmux_run_check(); })), first_check_finds)
        << "and so is the parent's";
    EXPECT_EQ(result, 1);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, ClosesDescriptors3To2047InTheChild)
{
    const int numbers[] = {3, 4, 10, 99, 1000, 1023, 1024, 2046, 2047, 2048, 2049};
    virtual_terminal board;
    const ready_modem modem(board);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 4096;
    limit.rlim_max = std::max<rlim_t>(limit.rlim_max, 4096);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);

    own_pppd pppd("exec > /tmp/open\n" // once, lest the shell saves its output elsewhere
                  "for n in 0 1 2 3 4 10 99 1000 1023 1024 2046 2047 2048 2049; do\n"
                  "  [ -e /proc/$$/fd/$n ] && echo $n\n"
                  "done\n");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    const int file = open("/tmp/file", O_RDWR | O_CREAT, 0600);
    for (const int number : numbers) {
        if (fcntl(number, F_GETFD) < 0) {
            ASSERT_EQ(dup2(file, number), number);
        } else { // taken by the session or the test: it must be one that a program would inherit
            ASSERT_EQ(fcntl(number, F_SETFD, 0), 0);
        }
    }
    ASSERT_EQ(pppd_task_start(task), 0);
    EXPECT_EQ(wait_for_end_of_child(), 0);
    EXPECT_EQ(bytes_of("/tmp/open"), "0\n1\n2\n2048\n2049\n");
    for (const int number : numbers)
        EXPECT_GE(fcntl(number, F_GETFD), 0) << number << " is still open here";
    EXPECT_EQ(descriptors_on(pipe_path), 2);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, AMissingPppdIsTheChildsExitStatus)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd.remove();
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr) << "it is not seen here";
    int status = wait_for_end_of_child();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), ENOENT);
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE) << "but as a child that is gone";

    put_file("/tmp/own_pppd/pppd", "no program", 0644);
    EXPECT_EQ(pppd_task_start(task), 0);
    status = wait_for_end_of_child();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), EACCES);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, IsRefusedWhilePppdRuns)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr);
    const pid_t pid = pppd.wait_for_start();
    for (const int expected : {PPPD_TASK_STARTED, PPPD_TASK_UP, PPPD_TASK_DOWN}) {
        if (expected != PPPD_TASK_STARTED)
            notify(std::to_string(expected));
        EXPECT_EQ(pppd_task_poll(task), expected);
        board.forget();
        int result = 0;
        errno = 0;
        const std::string text = printed([&] { result = pppd_task_start(task); });
        const int cause = errno;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(cause, EBUSY);
        EXPECT_EQ(text, "#hal pppd_task_start #\n"
                        "[ERROR] pppd_task activate status " +
                            std::to_string(expected) + "\n");
        EXPECT_EQ(doings(board), lines{});
        EXPECT_EQ(pppd_task_poll(task), expected);
        EXPECT_EQ(kill(pid, 0), 0) << "pppd goes on";
    }
    kill(pid, SIGKILL);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, IsAllowedOnceItHasEnded)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr);
    for (const char* last_news : {"1", "2", ""}) {
        const pid_t pid = pppd.wait_for_start();
        kill(pid, SIGKILL);
        (void)wait_for_end_of_child();
        notify(last_news);
        EXPECT_EQ(pppd_task_poll(task), *last_news == '1' ? PPPD_TASK_ENDED : PPPD_TASK_IDLE);
        EXPECT_EQ(pppd_task_start(task), 0);
        EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_STARTED);
    }
    kill(pppd.wait_for_start(), SIGKILL);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, NewParametersLeaveARunningPppdAlone)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr);
    const pid_t pid = pppd.wait_for_start();
    const pppd_task_params params{};
    EXPECT_EQ(pppd_task_set_param(task, &params), 0);
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_STARTED);
    EXPECT_EQ(kill(pid, 0), 0);
    kill(pid, SIGKILL);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionStart, WithoutAChildTheSessionFails)
{
    refuse_fork(EAGAIN);
    pppd_task* task = nullptr;
    errno = 0;
    const std::string text = printed([&] { task = pppd_task_create(session_name, nullptr, 0); });
    const int cause = errno;
    EXPECT_EQ(task, nullptr);
    EXPECT_EQ(cause, EAGAIN);
    EXPECT_EQ(text, "#hal pppd_task_create #\n"
                    "[WARNING] auth_script skip pap/chap auth\n");

    task = pppd_task_create(session_name, nullptr, 1); // the failed one is gone, and this one needs no child
    ASSERT_NE(task, nullptr);
    errno = 0;
    EXPECT_EQ(pppd_task_start(task), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE) << "its status stays";
    EXPECT_EQ(pppd_task_exit(task), 0);
}
