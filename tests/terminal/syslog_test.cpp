/** Lines of the system log: taken apart, and received with their sender. */
#include "terminal/model/syslog_message.h"
#include "terminal/model/syslog_source.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;

TEST(SyslogMessage, OfTheCLibrary)
{
    const event line = syslog_event("<11>Nov  5 08:15:30 app[42]: kt_sys_attr_get_int stat /sys/x No such file\n");
    EXPECT_EQ(line.kind, "syslog");
    EXPECT_EQ(line.priority, LOG_ERR); // the facility, user, is taken off
    EXPECT_EQ(line.path, "app");
    EXPECT_EQ(line.pid, 42);
    EXPECT_EQ(line.data, "kt_sys_attr_get_int stat /sys/x No such file\n");
}

TEST(SyslogMessage, WithoutProcessNumber)
{
    const event line = syslog_event("<14>Jan 31 23:59:59 my app: text: more");
    EXPECT_EQ(line.priority, LOG_INFO);
    EXPECT_EQ(line.path, "my app");
    EXPECT_EQ(line.pid, 0);
    EXPECT_EQ(line.data, "text: more");
}

TEST(SyslogMessage, BracketsThatHoldNoNumberBelongToTheIdentity)
{
    EXPECT_EQ(syslog_event("<14>Jan 31 23:59:59 app[x]: t").path, "app[x]");
    EXPECT_EQ(syslog_event("<14>Jan 31 23:59:59 app[]: t").path, "app[]");
    EXPECT_EQ(syslog_event("<14>Jan 31 23:59:59 7]: t").path, "7]");
}

TEST(SyslogMessage, WithoutTime)
{
    const event line = syslog_event("<14>app: text");
    EXPECT_EQ(line.path, "app");
    EXPECT_EQ(line.data, "text");
}

TEST(SyslogMessage, OfAnotherFormIsAllText)
{
    const event line = syslog_event("hello: world\n");
    EXPECT_EQ(line.priority, LOG_NOTICE);
    EXPECT_EQ(line.path, "");
    EXPECT_EQ(line.data, "hello: world\n");
    EXPECT_EQ(syslog_event("<x>text").data, "<x>text");
    EXPECT_EQ(syslog_event("<>text").data, "<>text");
    EXPECT_EQ(syslog_event("<1").data, "<1");
    EXPECT_EQ(syslog_event("").data, "");
}

TEST(SyslogMessage, KeepsBytesButNotTheStringsEnd)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(syslog_event("<14>app: a\0b\xff\0"sv).data, "a\0b\xff"sv);
}

class syslog_socket : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends_), 0);
        const int on = 1;
        ASSERT_EQ(setsockopt(ends_[1], SOL_SOCKET, SO_PASSCRED, &on, sizeof on), 0);
    }
    void TearDown() override { close(ends_[0]); }

    void say(std::string_view line)
    {
        ASSERT_EQ(send(ends_[0], line.data(), line.size(), 0), static_cast<ssize_t>(line.size()));
    }

    int ends_[2] = {-1, -1}; // the second is the source's
};

TEST_F(syslog_socket, GivesLinesInOrderWithTheirSender)
{
    syslog_source source(ends_[1], [](pid_t outer) { return outer == getpid() ? 7 : -1; });
    EXPECT_FALSE(source.next());
    say("<11>Nov  5 08:15:30 app: one");
    say("<11>Nov  5 08:15:30 app: two");
    const auto one = source.next();
    ASSERT_TRUE(one);
    EXPECT_EQ(one->data, "one");
    EXPECT_EQ(one->pid, 7);
    EXPECT_EQ(source.next()->data, "two");
    EXPECT_FALSE(source.next());
}

TEST_F(syslog_socket, ASenderThatIsGoneIsKnownByItsOwnText)
{
    syslog_source source(ends_[1], [](pid_t) { return 0; });
    say("<11>Nov  5 08:15:30 app[12]: text");
    EXPECT_EQ(source.next()->pid, 12);
}

TEST_F(syslog_socket, WakesWhoWaitsForALine)
{
    journal events;
    syslog_source source(ends_[1], innermost_pid);
    events.set_source([&] { return source.next(); });
    source.start(events);
    std::thread program([&] {
        std::this_thread::sleep_for(20ms);
        say("<11>Nov  5 08:15:30 app: late");
    });
    const auto found = events.wait(
        0, [](const event& each) { return each.kind == "syslog"; }, 10s);
    program.join();
    source.stop();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->data, "late");
    EXPECT_EQ(found->pid, getpid());
}

TEST(InnermostPid, OfThisProcessAndOfNone)
{
    EXPECT_EQ(innermost_pid(getpid()), getpid());
    EXPECT_EQ(innermost_pid(0x7ffffff0), 0);
}

} // namespace
