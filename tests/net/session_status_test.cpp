/** The status of a session: what each poll makes of pppd and of the newest notification. */
#include <kt_driver/net.h>

#include "modem_double.h"
#include "own_pppd.h"
#include "refused_call.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* looked = "get_latest_notify start\n"
                               "get_latest_notify end\n"
                               "#hal pppd_task_poll #\n";
constexpr const char* looked_in_vain = "get_latest_notify start\n"
                                       "#get_latest_notify return \n"
                                       "#hal pppd_task_poll #\n";
constexpr const char* did_not_look = "#hal pppd_task_poll #\n";

/** A session whose pppd runs, and can be killed. */
class SessionStatus : public testing::Test {
protected:
    SessionStatus()
    {
        task_ = pppd_task_create(session_name, nullptr, 0);
        pid_ = pppd_.wait_for_start();
    }
    ~SessionStatus() override
    {
        end_pppd();
        char bytes[256]; // the next status is told by pppd alone
        while (read(reader_of(pipe_path), bytes, sizeof bytes) > 0) {
        }
        EXPECT_EQ(pppd_task_exit(task_), 0);
    }

    /** One poll with its text; errno after it is left_. */
    int poll(const char* text = looked)
    {
        int status = -2;
        errno = 0;
        const std::string shown = printed([&] { status = pppd_task_poll(task_); });
        left_ = errno;
        EXPECT_EQ(shown, text);
        return status;
    }
    int poll_after(const std::string& bytes)
    {
        notify(bytes);
        return poll();
    }

    /** pppd ends; its child is left to be reaped. */
    void end_pppd()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGKILL);
        siginfo_t ended{};
        waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT);
        pid_ = -1;
    }

    /** Starts pppd again and brings the session into status 0, 1 or 2. */
    void bring_to(int status)
    {
        ASSERT_EQ(pppd_task_start(task_), 0);
        pid_ = pppd_.wait_for_start();
        if (status != PPPD_TASK_STARTED) {
            ASSERT_EQ(poll_after(status == PPPD_TASK_UP ? "1" : "2"), status);
        }
    }

    virtual_terminal board_;
    ready_modem modem_{board_};
    own_pppd pppd_;
    pppd_task* task_ = nullptr;
    pid_t pid_ = -1;
    int left_ = 0;
};

} // namespace

TEST_F(SessionStatus, RunningAndNoNewsKeepsIt)
{
    EXPECT_EQ(poll(), PPPD_TASK_STARTED);
    EXPECT_EQ(poll(), PPPD_TASK_STARTED);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_UP);
    EXPECT_EQ(poll(), PPPD_TASK_UP);
    EXPECT_EQ(poll_after("2"), PPPD_TASK_DOWN);
    EXPECT_EQ(poll(), PPPD_TASK_DOWN);
}

TEST_F(SessionStatus, RunningFollowsTheNewsFromEachStatus)
{
    EXPECT_EQ(poll_after("2"), PPPD_TASK_DOWN);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_UP);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_UP);
    EXPECT_EQ(poll_after("2"), PPPD_TASK_DOWN);
    EXPECT_EQ(poll_after("2"), PPPD_TASK_DOWN);
}

TEST_F(SessionStatus, OnlyTheNewestNewsCountsAndLineEndsAreNone)
{
    const struct {
        const char* bytes;
        int status;
    } rows[] = {
        {"1\n2\r\n1\n", PPPD_TASK_UP}, {"12", PPPD_TASK_DOWN},      {"\n\r", PPPD_TASK_DOWN},   {"21", PPPD_TASK_UP},
        {"\r\n\r\n", PPPD_TASK_UP},    {"2\n", PPPD_TASK_DOWN},     {"x1", PPPD_TASK_UP},       {"\n2", PPPD_TASK_DOWN},
        {"1\r", PPPD_TASK_UP},         {"1111112", PPPD_TASK_DOWN}, {"zzz\n1\n", PPPD_TASK_UP},
    };
    for (const auto& row : rows)
        EXPECT_EQ(poll_after(row.bytes), row.status) << testing::PrintToString(row.bytes);
}

TEST_F(SessionStatus, AFullPipeIsEmptiedByOnePoll)
{
    notify(std::string(60'000, '2') + "1\n");
    EXPECT_EQ(poll(), PPPD_TASK_UP);
    pollfd asked{reader_of(pipe_path), POLLIN, 0};
    EXPECT_EQ(::poll(&asked, 1, 0), 0);
    EXPECT_EQ(poll(), PPPD_TASK_UP);
}

TEST_F(SessionStatus, OtherNewsIsAnErrorAndKeepsIt)
{
    const std::string others[] = {"x", "0", "3", " ", std::string(1, '\0'), "\x80", "\xb1", "1x", "2\n!\n"};
    for (const std::string& bytes : others) {
        EXPECT_EQ(poll_after(bytes), -1) << testing::PrintToString(bytes);
        EXPECT_EQ(left_, EBADMSG) << testing::PrintToString(bytes);
        EXPECT_EQ(poll(), PPPD_TASK_STARTED) << "it is read, and nothing changed";
    }
    EXPECT_EQ(poll_after("1"), PPPD_TASK_UP);
    EXPECT_EQ(poll_after("x"), -1);
    EXPECT_EQ(poll(), PPPD_TASK_UP);
}

TEST_F(SessionStatus, AByteOfAllOnesIsNoNews)
{
    EXPECT_EQ(poll_after("\xff"), PPPD_TASK_STARTED);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_UP);
    EXPECT_EQ(poll_after("2\xff"), PPPD_TASK_UP) << "it counts in the place of what came before";
}

TEST_F(SessionStatus, GoneAndUpIsEnded)
{
    end_pppd();
    EXPECT_EQ(poll_after("1"), PPPD_TASK_ENDED);
    for (const int before : {PPPD_TASK_STARTED, PPPD_TASK_UP, PPPD_TASK_DOWN}) {
        bring_to(before);
        end_pppd();
        EXPECT_EQ(poll_after("2\n1\n"), PPPD_TASK_ENDED) << before;
    }
}

TEST_F(SessionStatus, GoneAndDownIsIdle)
{
    end_pppd();
    EXPECT_EQ(poll_after("2"), PPPD_TASK_IDLE);
    for (const int before : {PPPD_TASK_STARTED, PPPD_TASK_UP, PPPD_TASK_DOWN}) {
        bring_to(before);
        end_pppd();
        EXPECT_EQ(poll_after("1\n2\n"), PPPD_TASK_IDLE) << before;
    }
}

TEST_F(SessionStatus, GoneWithoutNewsIsIdle)
{
    end_pppd();
    EXPECT_EQ(poll(), PPPD_TASK_IDLE);
    for (const int before : {PPPD_TASK_STARTED, PPPD_TASK_UP, PPPD_TASK_DOWN}) {
        bring_to(before);
        end_pppd();
        EXPECT_EQ(poll_after("\r\n"), PPPD_TASK_IDLE) << before;
    }
}

TEST_F(SessionStatus, GoneWithOtherNewsIsAnErrorAndKeepsIt)
{
    end_pppd();
    EXPECT_EQ(poll_after("x"), -1);
    EXPECT_EQ(left_, EBADMSG);
    EXPECT_EQ(poll_after("x"), -1);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_ENDED);
    bring_to(PPPD_TASK_UP);
    end_pppd();
    EXPECT_EQ(poll_after("x"), -1);
    EXPECT_EQ(poll(), PPPD_TASK_IDLE);
}

TEST_F(SessionStatus, AGonePppdIsReaped)
{
    const pid_t pid = pid_;
    end_pppd();
    EXPECT_EQ(poll(), PPPD_TASK_IDLE);
    errno = 0;
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(SessionStatus, IdleAndEndedLookAtNothing)
{
    end_pppd();
    EXPECT_EQ(poll(), PPPD_TASK_IDLE);
    notify("1");
    EXPECT_EQ(poll(did_not_look), PPPD_TASK_IDLE);
    bring_to(PPPD_TASK_STARTED);
    EXPECT_EQ(poll(), PPPD_TASK_UP) << "the news waited in the pipe";
    end_pppd();
    EXPECT_EQ(poll_after("1"), PPPD_TASK_ENDED);
    notify("2");
    EXPECT_EQ(poll(did_not_look), PPPD_TASK_ENDED);
}

TEST_F(SessionStatus, APipeThatCannotBeReadIsAnErrorAndKeepsIt)
{
    const int reader = reader_of(pipe_path);
    const int kept = dup(reader);
    const int folder = open("/tmp", O_RDONLY | O_DIRECTORY);
    dup2(folder, reader);
    EXPECT_EQ(poll(looked_in_vain), -1);
    EXPECT_EQ(left_, EISDIR);
    dup2(kept, reader);
    EXPECT_EQ(poll(), PPPD_TASK_STARTED);

    end_pppd();
    dup2(folder, reader);
    EXPECT_EQ(poll(looked_in_vain), -1);
    dup2(kept, reader);
    EXPECT_EQ(poll_after("1"), PPPD_TASK_ENDED);
    close(folder);
    close(kept);
}

TEST_F(SessionStatus, APipeAtItsEndIsAnError)
{
    const int reader = reader_of(pipe_path);
    const int kept = dup(reader);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, reader);
    EXPECT_EQ(poll(looked_in_vain), -1);
    EXPECT_EQ(left_, EIO);
    dup2(kept, reader);
    EXPECT_EQ(poll(), PPPD_TASK_STARTED);
    close(nothing);
    close(kept);
}

TEST(SessionStatusRefused, APppdThatCannotBeAskedForIsAnErrorAtOnce)
{
    virtual_terminal board;
    const ready_modem modem(board);
    own_pppd pppd("sleep 3");
    pppd_task* const task = pppd_task_create(session_name, nullptr, 0);
    (void)pppd.wait_for_start();
    refuse_system_call(SYS_kill, EPERM);
    notify("1");
    int status = 0;
    errno = 0;
    const std::string text = printed([&] { status = pppd_task_poll(task); });
    const int cause = errno;
    EXPECT_EQ(status, -1);
    EXPECT_EQ(cause, EPERM);
    EXPECT_EQ(text, did_not_look) << "the pipe is not read";
}
