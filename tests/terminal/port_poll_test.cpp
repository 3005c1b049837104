/** Waiting for a serial port with select, poll and epoll. */
#include "port_calls.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>

using namespace kt::tests;

namespace {

class PortPoll : public port_test {};

/** poll(2) on one descriptor; the events found are the count. */
call_result poll_now(int fd, short wanted, int time_ms)
{
    pollfd waited{fd, wanted, 0};
    const auto start = std::chrono::steady_clock::now();
    const int found = poll(&waited, 1, time_ms);
    call_result result{.error = error_of(found), .count = static_cast<std::size_t>(waited.revents)};
    result.took = std::chrono::steady_clock::now() - start;
    return result;
}

call_result found(int events)
{
    return {.count = static_cast<std::size_t>(events)};
}

} // namespace

TEST_F(PortPoll, ReadableOnceSomethingIsThere)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    EXPECT_EQ(poll_now(port.fd(), POLLIN | POLLOUT, 0), found(POLLOUT));
    const call_result late = poll_now(port.fd(), POLLIN, 200);
    EXPECT_EQ(late, found(0));
    EXPECT_GE(late.took, 200ms);
    board.send(path, "x");
    EXPECT_EQ(poll_now(port.fd(), POLLIN | POLLOUT, 0), found(POLLIN | POLLOUT));
    EXPECT_EQ(read_now(port.fd(), 10), gave("x"));
    EXPECT_EQ(poll_now(port.fd(), POLLIN, 0), found(0));
}

TEST_F(PortPoll, AByteWakesPoll)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    for (int i = 0; i < 20; ++i) {
        waiting_call waiter([&] { return poll_now(port.fd(), POLLIN, 20000); });
        EXPECT_TRUE(waiter.waits(i < 3 ? 150ms : 0ms));
        board.send(path, "x");
        const call_result woken = waiter.result();
        EXPECT_EQ(woken, found(POLLIN));
        EXPECT_LT(woken.took, 15s);
        EXPECT_EQ(read_now(port.fd(), 10), gave("x"));
    }
}

TEST_F(PortPoll, AByteWakesSelectInTwoThreads)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    const auto wait_for_it = [&] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(port.fd(), &readable);
        timeval most{20, 0};
        const int ready = select(port.fd() + 1, &readable, nullptr, nullptr, &most);
        return call_result{.error = error_of(ready), .count = static_cast<std::size_t>(ready)};
    };
    waiting_call one(wait_for_it);
    waiting_call two(wait_for_it);
    EXPECT_TRUE(one.waits());
    EXPECT_TRUE(two.waits());
    board.send(path, "x");
    EXPECT_EQ(one.result().count, 1U);
    EXPECT_EQ(two.result().count, 1U);
}

TEST_F(PortPoll, AByteWakesEpollLevelAndEdge)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    for (const std::uint32_t how : {0U, static_cast<std::uint32_t>(EPOLLET)}) {
        const int set = epoll_create1(EPOLL_CLOEXEC);
        epoll_event wanted{};
        wanted.events = EPOLLIN | how;
        ASSERT_EQ(epoll_ctl(set, EPOLL_CTL_ADD, port.fd(), &wanted), 0);
        const auto wait_for_it = [&] {
            epoll_event event{};
            const int ready = epoll_wait(set, &event, 1, 20000);
            return call_result{.error = error_of(ready), .count = static_cast<std::size_t>(ready)};
        };
        for (int i = 0; i < 3; ++i) {
            waiting_call waiter(wait_for_it);
            EXPECT_TRUE(waiter.waits());
            board.send(path, "x");
            EXPECT_EQ(waiter.result().count, 1U);
            EXPECT_EQ(read_now(port.fd(), 10), gave("x"));
        }
        close(set);
    }
}

TEST_F(PortPoll, RoomWakesAWriter)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.hold(path, true);
    EXPECT_EQ(write_now(port.fd(), std::string(5000, 'x')).count, 4096U);
    waiting_call waiter([&] { return poll_now(port.fd(), POLLOUT, 20000); });
    EXPECT_TRUE(waiter.waits());
    board.hold(path, false);
    EXPECT_EQ(waiter.result(), found(POLLOUT));
}

TEST_F(PortPoll, TheMinimumCountsUnlessATimeIsSet)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 3, 0);
    board.send(path, "ab");
    EXPECT_EQ(poll_now(port.fd(), POLLIN, 0), found(0));
    board.send(path, "c");
    EXPECT_EQ(poll_now(port.fd(), POLLIN, 0), found(POLLIN));
    make_raw(port.fd(), 30, 1);
    EXPECT_EQ(poll_now(port.fd(), POLLIN, 0), found(POLLIN));
}

TEST_F(PortPoll, RoomMadeByAFlushWakesPoll)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.hold(path, true);
    while (write_now(port.fd(), std::string(1000, 'x')).error == 0) {
    }
    waiting_call waiter([&] { return poll_now(port.fd(), POLLOUT, 20000); });
    EXPECT_TRUE(waiter.waits());
    ASSERT_EQ(tcflush(port.fd(), TCOFLUSH), 0);
    const call_result woken = waiter.result();
    EXPECT_EQ(woken, found(POLLOUT));
    EXPECT_LT(woken.took, 15s);
}
