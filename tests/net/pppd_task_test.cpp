/** The session's class itself, by its own sources: what the exported functions do not show. */
#include "net/pppd_task.h"

#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* other_pipe = "/tmp/other peer";
constexpr const char* looked = "get_latest_notify start\n"
                               "get_latest_notify end\n";

/** The newest notification of a task whose pipe holds these bytes; errno after it. */
struct latest {
    int character;
    int cause;

    bool operator==(const latest&) const = default;
};

latest latest_of(pppd_task& task, const std::string& bytes)
{
    EXPECT_EQ(write(writer_of(other_pipe), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    latest seen{};
    errno = 0;
    const std::string text = printed([&] { seen.character = task.get_latest_notify(); });
    seen.cause = errno;
    EXPECT_EQ(text, looked);
    return seen;
}

} // namespace

TEST(PppdTask, IsIdleAtFirstAndTouchesNothing)
{
    virtual_terminal board;
    board.forget();
    int status = -1;
    errno = 0;
    EXPECT_EQ(printed([&] {
                  pppd_task task("other peer", 7);
                  status = task.poll_status();
                  EXPECT_EQ(task.status(), PPPD_TASK_IDLE);
                  EXPECT_EQ(task.index(), 7);
              }),
              "");
    EXPECT_EQ(status, PPPD_TASK_IDLE);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(doings(board), std::vector<std::string>{});
    EXPECT_EQ(mode_of(other_pipe), mode_t{0});
}

TEST(PppdTask, ItsFilesBearItsName)
{
    pppd_task task("other peer", 0);
    EXPECT_EQ(task.chat_script(), 0);
    EXPECT_TRUE(
        bytes_of("/kt/ppp/peers/gprs-connect-chat-other peer").starts_with("#!/bin/sh\nexec /usr/sbin/chat \\\n"));
    EXPECT_EQ(task.notify_fifo_open(), 0);
    EXPECT_EQ(mode_of(other_pipe) & S_IFMT, mode_t{S_IFIFO});
    EXPECT_EQ(descriptors_on(other_pipe), 2);
    task.notify_fifo_close();
    EXPECT_EQ(descriptors_on(other_pipe), 0);
    task.notify_fifo_close(); // closed already
}

TEST(PppdTask, ItsEndLeavesPipeAndFilesAsTheyAre)
{
    {
        pppd_task task("other peer", 0);
        EXPECT_EQ(task.chat_script(), 0);
        EXPECT_EQ(task.notify_fifo_open(), 0);
    }
    EXPECT_EQ(descriptors_on(other_pipe), 2);
    EXPECT_NE(bytes_of("/kt/ppp/peers/gprs-connect-chat-other peer"), "<none>");
}

TEST(PppdTask, ItsScriptsCanBeReplaced)
{
    struct counting_task : pppd_task {
        using pppd_task::pppd_task;
        int auth_script() override { return ++calls; }
        int chat_script() override { return -++calls; }
        int calls = 0;
    };
    counting_task task("other peer", 0);
    pppd_task& base = task;
    EXPECT_EQ(base.auth_script(), 1);
    EXPECT_EQ(base.chat_script(), -2);
}

TEST(PppdTask, TheLatestNotificationIsTheLastByteThatEndsNoLine)
{
    pppd_task task("other peer", 0);
    ASSERT_EQ(task.notify_fifo_open(), 0);
    const struct {
        std::string bytes;
        int character;
    } rows[] = {
        {"", -1},
        {"\n", -1},
        {"\r\n\r\n", -1},
        {"1", '1'},
        {"1\n2\r\n1\n", '1'},
        {"12", '2'},
        {"2\n\n\n\r", '2'},
        {"abc\r", 'c'},
        {std::string(1, '\0'), 0},
        {"\x7f", 127},
        {"\x80", -128}, // a signed character
        {"\xfe\n", -2},
        {"\xff", -1}, // and so not to be told from none
        {"1\xff", -1},
        {"\xff"
         "1",
         '1'},
        {std::string(65'536, '2'), '2'}, // all that a pipe holds
    };
    for (const auto& row : rows) {
        EXPECT_EQ(latest_of(task, row.bytes), (latest{row.character, EAGAIN}))
            << testing::PrintToString(row.bytes.substr(0, 20));
        EXPECT_EQ(latest_of(task, ""), (latest{-1, EAGAIN})) << "it is read but once";
    }
    task.notify_fifo_close();
}

TEST(PppdTask, WithoutAPipeThereIsAnError)
{
    pppd_task task("other peer", 0);
    int character = 0;
    errno = 0;
    const std::string text = printed([&] { character = task.get_latest_notify(); });
    const int cause = errno;
    EXPECT_EQ(character, -1);
    EXPECT_EQ(cause, EBADF);
    EXPECT_EQ(text, "get_latest_notify start\n#get_latest_notify return \n");
}

TEST(PppdTask, HangingUpWithoutAChildSignalsNobody)
{
    pppd_task task("other peer", 0);
    EXPECT_EQ(printed([&] { task.deactivate(); }), "system: /kt/ppp/kt-ppp-kill\n");
    EXPECT_EQ(task.status(), PPPD_TASK_DOWN); // and this process lives
}
