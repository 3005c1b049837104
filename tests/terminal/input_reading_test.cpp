/** Reading an input device with a program's own system calls: queues, waiting, unplugging. */
#include "input_calls.h"
#include "port_calls.h"

#include <ctime>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>

using namespace kt::tests;

namespace {

class input_reading : public testing::Test {
protected:
    kt::terminal::virtual_terminal board;
};

using InputReading = input_reading;

call_result poll_now(int fd, short wanted, int time_ms)
{
    pollfd waited{fd, wanted, 0};
    const int found = poll(&waited, 1, time_ms);
    return {.error = error_of(found), .count = static_cast<std::size_t>(waited.revents)};
}

call_result found(int events)
{
    return {.count = static_cast<std::size_t>(events)};
}

void set_waiting(int fd, bool waits)
{
    const int flags = fcntl(fd, F_GETFL);
    ASSERT_EQ(fcntl(fd, F_SETFL, waits ? flags & ~O_NONBLOCK : flags | O_NONBLOCK), 0);
}

} // namespace

TEST_F(InputReading, EveryOpenGetsEveryEventFromThenOn)
{
    const opened_file first(keypad_node, O_RDONLY | O_NONBLOCK);
    board.press("5");
    const opened_file second(keypad_node, O_RDONLY | O_NONBLOCK);
    board.release("5");

    EXPECT_EQ(events_in(read_now(first.fd(), 640).bytes), (seen_events{{1, 6, 1}, report_end, {1, 6, 0}, report_end}));
    EXPECT_EQ(events_in(read_now(second.fd(), 640).bytes), (seen_events{{1, 6, 0}, report_end}));
    EXPECT_EQ(read_now(first.fd(), 640), failed(EAGAIN));
    EXPECT_EQ(read_now(second.fd(), 640), failed(EAGAIN));
}

TEST_F(InputReading, DevicesKeepTheirEventsApart)
{
    const opened_file buttons(buttons_node, O_RDONLY | O_NONBLOCK);
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.type({"power", "enter"});
    EXPECT_EQ(events_in(read_now(buttons.fd(), 640).bytes),
              (seen_events{{1, 116, 1}, report_end, {1, 116, 0}, report_end}));
    EXPECT_EQ(events_in(read_now(keypad.fd(), 640).bytes),
              (seen_events{{1, 28, 1}, report_end, {1, 28, 0}, report_end}));
}

TEST_F(InputReading, AReadGetsAsManyWholeEventsAsFit)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.type({"1", "2"});
    EXPECT_EQ(read_now(keypad.fd(), 15), failed(EINVAL));
    EXPECT_EQ(read_now(keypad.fd(), 1), failed(EINVAL));
    EXPECT_EQ(read_now(keypad.fd(), 0), gave(""));
    EXPECT_EQ(events_in(read_now(keypad.fd(), 16).bytes), (seen_events{{1, 2, 1}}));
    const call_result two = read_now(keypad.fd(), 47);
    EXPECT_EQ(two.count, 32U);
    EXPECT_EQ(events_in(two.bytes), (seen_events{report_end, {1, 2, 0}}));
    EXPECT_EQ(events_in(read_now(keypad.fd(), 4096).bytes),
              (seen_events{report_end, {1, 3, 1}, report_end, {1, 3, 0}, report_end}));
    EXPECT_EQ(read_now(keypad.fd(), 15), failed(EINVAL)) << "too short a read is refused before it waits";
}

TEST_F(InputReading, ABlockingReadWaitsForAnEvent)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    waiting_call reader([&] { return read_now(keypad.fd(), 640); });
    EXPECT_TRUE(reader.waits());
    board.press("esc");
    EXPECT_EQ(events_in(reader.result().bytes), (seen_events{{1, 1, 1}, report_end}));
}

TEST_F(InputReading, TwoReadersOfOneOpenTakeTurns)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    waiting_call one([&] { return read_now(keypad.fd(), 16); });
    waiting_call two([&] { return read_now(keypad.fd(), 16); });
    EXPECT_TRUE(one.waits());
    EXPECT_TRUE(two.waits());
    board.press("esc");
    seen_events all = events_in(one.result().bytes + two.result().bytes);
    EXPECT_TRUE(all == (seen_events{{1, 1, 1}, report_end}) || all == (seen_events{report_end, {1, 1, 1}}));
}

TEST_F(InputReading, TheModeCanBeChangedAfterTheOpenBothWays)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    set_waiting(keypad.fd(), false);
    EXPECT_EQ(read_now(keypad.fd(), 16), failed(EAGAIN));
    set_waiting(keypad.fd(), true);
    waiting_call reader([&] { return read_now(keypad.fd(), 16); });
    EXPECT_TRUE(reader.waits());
    board.press("up");
    EXPECT_EQ(events_in(reader.result().bytes), (seen_events{{1, 103, 1}}));

    const opened_file other(keypad_node, O_RDONLY | O_NONBLOCK);
    set_waiting(other.fd(), true);
    waiting_call waiting([&] { return read_now(other.fd(), 16); });
    EXPECT_TRUE(waiting.waits());
    board.press("down");
    EXPECT_EQ(events_in(waiting.result().bytes), (seen_events{{1, 108, 1}}));
}

TEST_F(InputReading, ASignalEndsAWaitingReadAndLosesNothing)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    waiting_call reader([&] { return read_now(keypad.fd(), 16); });
    EXPECT_TRUE(reader.waits());
    reader.interrupt();
    EXPECT_EQ(reader.result(), failed(EINTR));
    board.press("f1");
    EXPECT_EQ(events_in(read_now(keypad.fd(), 640).bytes), (seen_events{{1, 59, 1}, report_end}));
}

TEST_F(InputReading, AnEventCarriesTheTimeOfDay)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    timespec before{};
    timespec after{};
    ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &before), 0);
    board.press("f2");
    ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &after), 0);
    const std::string bytes = read_now(keypad.fd(), 32).bytes;
    ASSERT_EQ(bytes.size(), 32U);
    const auto seconds = [](const timespec& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    EXPECT_GE(time_at(bytes, 0), seconds(before) - 1e-5);
    EXPECT_LE(time_at(bytes, 0), seconds(after) + 1e-5);
    EXPECT_EQ(time_at(bytes, 0), time_at(bytes, 1)) << "one report, one time";
}

TEST_F(InputReading, TheSixtyFourthUnreadEventDropsAllBeforeIt)
{
    const opened_file full(keypad_node, O_RDONLY | O_NONBLOCK);
    std::vector<kt::terminal::input_event_value> events;
    for (int i = 0; i < 63; ++i)
        events.push_back({1, 30, i});
    board.input(keypad_node, events);
    const opened_file later(keypad_node, O_RDONLY | O_NONBLOCK);
    board.input(keypad_node, {{1, 31, 7}, {0, 0, 0}});

    EXPECT_EQ(events_in(read_now(full.fd(), 4096).bytes), (seen_events{{0, 3, 0}, {1, 31, 7}, report_end}));
    EXPECT_EQ(events_in(read_now(later.fd(), 4096).bytes), (seen_events{{1, 31, 7}, report_end}));

    const opened_file not_full(keypad_node, O_RDONLY | O_NONBLOCK);
    board.input(keypad_node, events);
    EXPECT_EQ(read_now(not_full.fd(), 4096).count, 63U * 16);
}

TEST_F(InputReading, RawEventsAreReadAsTheyStandAndWithoutAReportEnd)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.input(keypad_node, {{1, 0xFFFF, -2147483647}});
    EXPECT_EQ(events_in(read_now(keypad.fd(), 64).bytes), (seen_events{{1, 0xFFFF, -2147483647}}));
    board.input(keypad_node, {{4, 4, 458792}, {0, 0, 0}});
    EXPECT_EQ(events_in(read_now(keypad.fd(), 64).bytes), (seen_events{{4, 4, 458792}, report_end}));
}

TEST_F(InputReading, PollAndSelectShowWhatCanBeRead)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(poll_now(keypad.fd(), POLLIN | POLLOUT, 0), found(POLLOUT));
    board.press("1");
    EXPECT_EQ(poll_now(keypad.fd(), POLLIN | POLLOUT, 0), found(POLLIN | POLLOUT));
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(keypad.fd(), &readable);
    timeval none{};
    EXPECT_EQ(select(keypad.fd() + 1, &readable, nullptr, nullptr, &none), 1);
    (void)read_now(keypad.fd(), 640);
    EXPECT_EQ(poll_now(keypad.fd(), POLLIN, 0), found(0));
}

TEST_F(InputReading, AnEventWakesPollAndSelect)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    for (int i = 0; i < 10; ++i) {
        waiting_call poller([&] { return poll_now(keypad.fd(), POLLIN, 20000); });
        waiting_call selector([&] {
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(keypad.fd(), &readable);
            timeval most{20, 0};
            const int ready = select(keypad.fd() + 1, &readable, nullptr, nullptr, &most);
            return call_result{.error = error_of(ready), .count = static_cast<std::size_t>(ready)};
        });
        EXPECT_TRUE(poller.waits(i < 2 ? 150ms : 0ms));
        board.press("1");
        EXPECT_EQ(poller.result(), found(POLLIN));
        EXPECT_EQ(selector.result().count, 1U);
        EXPECT_EQ(read_now(keypad.fd(), 640).count, 32U);
    }
}

TEST_F(InputReading, AnEventWakesEpollLevelAndEdge)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    for (const std::uint32_t how : {0U, static_cast<std::uint32_t>(EPOLLET)}) {
        const int set = epoll_create1(EPOLL_CLOEXEC);
        epoll_event wanted{};
        wanted.events = EPOLLIN | how;
        ASSERT_EQ(epoll_ctl(set, EPOLL_CTL_ADD, keypad.fd(), &wanted), 0);
        for (int i = 0; i < 3; ++i) {
            waiting_call waiter([&] {
                epoll_event event{};
                const int ready = epoll_wait(set, &event, 1, 20000);
                return call_result{.error = error_of(ready), .count = static_cast<std::size_t>(ready)};
            });
            EXPECT_TRUE(waiter.waits());
            board.press("1");
            EXPECT_EQ(waiter.result().count, 1U);
            EXPECT_EQ(read_now(keypad.fd(), 640).count, 32U);
        }
        close(set);
    }
}

TEST_F(InputReading, UnpluggingEndsAWaitingRead)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    waiting_call reader([&] { return read_now(keypad.fd(), 16); });
    EXPECT_TRUE(reader.waits());
    board.remove(keypad_node);
    EXPECT_EQ(reader.result(), failed(ENODEV));
    EXPECT_EQ(read_now(keypad.fd(), 16), failed(ENODEV));
    EXPECT_EQ(poll_now(keypad.fd(), POLLIN | POLLOUT, 0), found(POLLHUP | POLLERR));
    EXPECT_EQ(open_error(keypad_node, O_RDONLY), ENOENT);
}

TEST_F(InputReading, UnpluggingWakesPollAndEndsWrites)
{
    const opened_file keypad(keypad_node, O_RDWR);
    waiting_call poller([&] { return poll_now(keypad.fd(), POLLIN, 20000); });
    EXPECT_TRUE(poller.waits());
    board.remove(keypad_node);
    EXPECT_EQ(poller.result(), found(POLLHUP | POLLERR));
    EXPECT_EQ(write_now(keypad.fd(), record_of({1, 28, 1})), failed(ENODEV));
}

TEST_F(InputReading, WhatAProgramWritesEveryOpenGets)
{
    const opened_file writer(keypad_node, O_RDWR | O_NONBLOCK);
    const opened_file reader(keypad_node, O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(write_now(writer.fd(), "fifteen bytes.."), failed(EINVAL));
    const std::string three = record_of({1, 28, 1}) + record_of({3, 0, 5}) + record_of({0, 0, 0}); // no axis is here
    const call_result written = write_now(writer.fd(), three + "rest");
    EXPECT_EQ(written.error, 0);
    EXPECT_EQ(written.count, 48U);
    for (const int fd : {writer.fd(), reader.fd()})
        EXPECT_EQ(events_in(read_now(fd, 640).bytes), (seen_events{{1, 28, 1}, report_end}));
}

TEST_F(InputReading, AReadIsJournalledWithTheEventsBytes)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.forget();
    board.press("0");
    const std::string bytes = read_now(keypad.fd(), 640).bytes;
    const auto read = board.wait({.kind = "read", .path = keypad_node}, 10s);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size, 640U);
    EXPECT_EQ(read->data, bytes);
    EXPECT_EQ(read->error, "");
}
