/** Hanging up and ending a session: the order of the steps, the pause, and waiting for pppd. */
#include <kt_driver/net.h>

#include "modem_double.h"
#include "own_pppd.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* kill_script = "system: /kt/ppp/kt-ppp-kill\n";
constexpr const char* looked = "get_latest_notify start\n"
                               "get_latest_notify end\n";

struct hang_up_call {
    int (*call)(pppd_task* task);
    const char* trace;
};
const hang_up_call hang_up_calls[] = {
    {pppd_task_stop, "#hal pppd_task_stop #\n"},
    {pppd_task_kill, "#hal pppd_task_kill #\n"},
};

/** A running session. */
pppd_task* start(own_pppd& pppd)
{
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    EXPECT_NE(task, nullptr);
    (void)pppd.wait_for_start();
    return task;
}

struct timed_text {
    std::string text;
    std::chrono::nanoseconds took;
};

/** What a call prints and how long it takes; its result is expected to be 0. */
timed_text run(int (*call)(pppd_task* task), pppd_task* task)
{
    int result = -1;
    const auto begin = std::chrono::steady_clock::now();
    const std::string text = printed([&] { result = call(task); });
    EXPECT_EQ(result, 0);
    return {text, std::chrono::steady_clock::now() - begin};
}

} // namespace

TEST(SessionHangUp, WaitsThenRunsTheKillScriptThenSignalsPppd)
{
    virtual_terminal board;
    const ready_modem modem(board);
    put_script("/kt/ppp/kt-ppp-kill", "echo kill script >> /tmp/steps");
    own_pppd pppd("trap 'kill %1; echo signal >> /tmp/steps; exit' TERM; sleep 1000 & echo ready > /tmp/ready; wait");
    for (const hang_up_call& tried : hang_up_calls) {
        put_file("/tmp/steps", "");
        pppd_task* const task = start(pppd);
        ASSERT_TRUE(wait_for_bytes("/tmp/ready", "ready\n"));
        const timed_text done = run(tried.call, task);
        EXPECT_EQ(done.text, std::string(tried.trace) + kill_script);
        EXPECT_GE(done.took, 800ms);
        EXPECT_TRUE(wait_for_bytes("/tmp/steps", "kill script\nsignal\n"));
        (void)wait_for_end_of_child();
        EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
        EXPECT_EQ(pppd_task_exit(task), 0);
        put_file("/tmp/ready", "");
    }
}

TEST(SessionHangUp, SendsSigterm)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd_task* const task = start(pppd);
    EXPECT_EQ(pppd_task_stop(task), 0);
    const int status = wait_for_end_of_child();
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionHangUp, IsShuttingDownUntilPppdHasGone)
{
    virtual_terminal board;
    const ready_modem modem(board);
    for (const hang_up_call& tried : hang_up_calls) {
        for (const char* news : {"", "1"}) { // from both statuses
            own_pppd pppd("trap '' TERM; echo ready > /tmp/ready; exec sleep 1000");
            pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
            const pid_t pid = pppd.wait_for_start();
            ASSERT_TRUE(wait_for_bytes("/tmp/ready", "ready\n"));
            notify(news);
            EXPECT_EQ(pppd_task_poll(task), *news == '1' ? PPPD_TASK_UP : PPPD_TASK_STARTED);
            EXPECT_EQ(tried.call(task), 0);
            EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_DOWN);
            kill(pid, SIGKILL);
            (void)wait_for_end_of_child();
            EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
            EXPECT_EQ(pppd_task_exit(task), 0);
            put_file("/tmp/ready", "");
        }
    }
}

TEST(SessionHangUp, DoesNothingWithoutALink)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    const auto expect_nothing = [&](int status) {
        for (const hang_up_call& tried : hang_up_calls) {
            board.forget();
            const timed_text done = run(tried.call, task);
            EXPECT_EQ(done.text, tried.trace) << status;
            EXPECT_EQ(doings(board), lines{}) << status;
            EXPECT_LT(done.took, 800ms) << status;
            EXPECT_EQ(pppd_task_poll(task), status);
        }
    };
    expect_nothing(PPPD_TASK_IDLE);

    EXPECT_EQ(pppd_task_start(task), 0);
    const pid_t pid = pppd.wait_for_start();
    notify("2");
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_DOWN);
    expect_nothing(PPPD_TASK_DOWN);

    kill(pid, SIGKILL);
    (void)wait_for_end_of_child();
    notify("1");
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_ENDED);
    expect_nothing(PPPD_TASK_ENDED);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionHangUp, SignalsNobodyWhenPppdIsGoneAlready)
{
    virtual_terminal board;
    const ready_modem modem(board);
    const running_daemon bystander; // whom a signal to everybody would reach
    own_pppd pppd("exit 0");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr);
    (void)wait_for_end_of_child();
    notify("x");
    EXPECT_EQ(pppd_task_poll(task), -1) << "gone, and the status is still 0";
    EXPECT_EQ(run(pppd_task_stop, task).text, std::string("#hal pppd_task_stop #\n") + kill_script);
    std::this_thread::sleep_for(300ms); // somebody who was hit takes a moment to end
    siginfo_t ended{};
    EXPECT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT), 0);
    EXPECT_EQ(ended.si_pid, 0) << "no child was hit";
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionHangUp, EndsAChildThatIsNotYetPppd)
{
    virtual_terminal board;
    board.fail("/dev/chn/3", {.on = "lookup", .error = ENOENT}); // the check waits for it for 15 s
    own_pppd pppd;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(pppd_task_stop(task), 0);
    const int status = wait_for_end_of_child();
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
    EXPECT_EQ(pppd_task_exit(task), 0);
}

TEST(SessionExit, HangsUpAndLooksEveryTwoSecondsUntilPppdHasGone)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("trap 'sleep 3; kill %1; exit' TERM; sleep 1000 & echo ready > /tmp/ready; wait");
    pppd_task* const task = start(pppd);
    ASSERT_TRUE(wait_for_bytes("/tmp/ready", "ready\n"));
    const timed_text done = run(pppd_task_exit, task);
    EXPECT_EQ(done.text, kill_script + std::string(looked) + looked + looked + "#hal pppd_task_exit #\n");
    EXPECT_GE(done.took, 4800ms);
    EXPECT_EQ(descriptors_on(pipe_path), 0);
    EXPECT_NE(bytes_of(chat_script_path), "<none>") << "the files stay";
}

TEST(SessionExit, WaitsForAPppdThatIsShuttingDownAlready)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("sleep 1");
    pppd_task* const task = start(pppd);
    notify("2");
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_DOWN);
    board.forget();
    const timed_text done = run(pppd_task_exit, task);
    EXPECT_EQ(done.text, std::string(looked) + looked + "#hal pppd_task_exit #\n");
    EXPECT_GE(done.took, 2s);
    EXPECT_EQ(board.commands(), lines{}) << "it is not asked again";
}

TEST(SessionExit, OfASessionThatNeverStartedReturnsAtOnce)
{
    virtual_terminal board;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    board.forget();
    const timed_text done = run(pppd_task_exit, task);
    EXPECT_EQ(done.text, "#hal pppd_task_exit #\n");
    EXPECT_LT(done.took, 800ms);
    EXPECT_EQ(doings(board), lines{});
}

TEST(SessionExit, EndsAtAPollThatFails)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("trap '' TERM; echo ready > /tmp/ready; exec sleep 1000");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    const pid_t pid = pppd.wait_for_start();
    ASSERT_TRUE(wait_for_bytes("/tmp/ready", "ready\n"));
    notify("x");
    EXPECT_EQ(run(pppd_task_exit, task).text, kill_script + std::string(looked) + "#hal pppd_task_exit #\n");
    EXPECT_EQ(kill(pid, 0), 0) << "pppd is left";
    kill(pid, SIGKILL);
    EXPECT_EQ(pppd_task_exit(pppd_task_create(session_name, nullptr, 1)), 0) << "another session can be made";
}
