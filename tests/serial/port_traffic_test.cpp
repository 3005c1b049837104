/** Bytes through an open port: reads, writes, counts, flushes, and what the wire does to them. */
#include "tests/serial/line_requests.h"
#include "tests/serial/ports.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;
using clock_type = std::chrono::steady_clock;

namespace {

constexpr const char* node = processor_node;

class PortTraffic : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(open_port(26).result, 0);
        board.forget();
    }

    /** What one read with that room and time gives. */
    outcome read_port(unsigned len, int timeout_ms)
    {
        room.assign(32, '#');
        outcome done = outcome_of([&] { return kt_serial_read(26, room.data(), len, timeout_ms); });
        if (done.result >= 0)
            done.text += room.substr(0, static_cast<std::size_t>(done.result)); // a read prints nothing itself
        EXPECT_EQ(room.substr(static_cast<std::size_t>(std::max(done.result, 0))),
                  std::string(32 - static_cast<std::size_t>(std::max(done.result, 0)), '#'));
        return done;
    }

    virtual_terminal board;
    std::string room;
};

outcome bytes(const std::string& read)
{
    return {static_cast<int>(read.size()), 0, read};
}

} // namespace

TEST_F(PortTraffic, AReadGivesWhatIsThereUpToItsRoom)
{
    board.send(node, "0123456789");
    EXPECT_EQ(read_port(4, 1000), bytes("0123"));
    EXPECT_EQ(read_port(32, 1000), bytes("456789"));
    EXPECT_EQ(read_port(32, 0), failed(ETIME, ""));
}

TEST_F(PortTraffic, EveryByteComesThroughAsItIs)
{
    std::string all;
    for (int value = 0; value < 256; ++value)
        all += static_cast<char>(value);
    board.send(node, all);
    std::string got(512, '#');
    EXPECT_EQ(kt_serial_read(26, got.data(), 512, 1000), 256);
    EXPECT_EQ(got.substr(0, 256), all);
    EXPECT_EQ(kt_serial_write(26, all.data(), 256), 256);
    EXPECT_TRUE(board.expect(node, all));
    EXPECT_EQ(board.sent(node), "");
}

TEST_F(PortTraffic, AReadWaitsForTheFirstByteAndNotForMore)
{
    std::thread sender([] {
        virtual_terminal other;
        std::this_thread::sleep_for(100ms);
        other.send(node, "a");
        std::this_thread::sleep_for(400ms);
        other.send(node, "b");
    });
    const auto start = clock_type::now();
    EXPECT_EQ(read_port(32, 20'000), bytes("a"));
    EXPECT_GE(clock_type::now() - start, 50ms);
    EXPECT_EQ(read_port(32, 20'000), bytes("b"));
    sender.join();
}

TEST_F(PortTraffic, AReadIsOverWhenItsTimeIs)
{
    for (const int timeout_ms : {1, 250, 1500}) {
        const auto start = clock_type::now();
        EXPECT_EQ(read_port(32, timeout_ms), failed(ETIME, ""));
        const auto took = clock_type::now() - start;
        EXPECT_GE(took, std::chrono::milliseconds(timeout_ms));
        EXPECT_LT(took, std::chrono::milliseconds(timeout_ms) + 1s);
    }
    const auto start = clock_type::now();
    EXPECT_EQ(read_port(32, 0), failed(ETIME, ""));
    EXPECT_LT(clock_type::now() - start, 500ms);
}

TEST_F(PortTraffic, ANegativeTimeIsRefusedWithoutARead)
{
    board.send(node, "abc");
    for (const int timeout_ms : {-1, -1000, -2'147'483'647 - 1})
        EXPECT_EQ(read_port(32, timeout_ms), failed(EINVAL, ""));
    EXPECT_EQ(board.events_of({"read"}).size(), 0u);
    EXPECT_EQ(read_port(32, 0), bytes("abc"));
}

TEST_F(PortTraffic, AReadIsOneReadAndLeavesTheModeAlone)
{
    board.send(node, "abc");
    const int before = fcntl(kt_serial_get_fd(26), F_GETFL);
    EXPECT_EQ(read_port(16, 1000), bytes("abc"));
    const auto reads = board.events_of({"read"});
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].size, 16u);
    EXPECT_EQ(fcntl(kt_serial_get_fd(26), F_GETFL), before);
}

TEST_F(PortTraffic, AHungUpLineIsAtItsEndUntilItIsOpenedAnew)
{
    board.hang_up(node);
    EXPECT_EQ(read_port(32, 1000), bytes(""));
    EXPECT_EQ(outcome_of([] { return kt_serial_write(26, "x", 1); }), failed(EIO, ""));
    EXPECT_EQ(outcome_of([] { return kt_serial_flush(26); }), failed(EIO, ""));
    ASSERT_EQ(open_port(26).result, 0);
    board.send(node, "abc");
    EXPECT_EQ(read_port(32, 1000), bytes("abc"));
}

TEST_F(PortTraffic, AnUnpluggedLineIsAtItsEnd)
{
    board.remove(node);
    EXPECT_EQ(read_port(32, 1000), bytes(""));
    EXPECT_EQ(open_port(26).cause, ENOENT);
}

TEST_F(PortTraffic, AFailedReadIsTold)
{
    board.send(node, "abc");
    board.fail(node, {.on = "read", .error = EIO, .times = 1});
    EXPECT_EQ(read_port(32, 1000), failed(EIO, ""));
    EXPECT_EQ(fcntl(kt_serial_get_fd(26), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(read_port(32, 1000), bytes("abc"));
}

TEST_F(PortTraffic, AWriteIsOneWriteOfAllOfIt)
{
    EXPECT_EQ(outcome_of([] { return kt_serial_write(26, "AT\r\n", 4); }), (outcome{4, 0, ""}));
    EXPECT_EQ(board.writes(node), lines{"AT\r\n"});
    EXPECT_TRUE(board.expect(node, "AT\r\n"));
    EXPECT_EQ(outcome_of([] { return kt_serial_write(26, "", 0); }), (outcome{0, 0, ""}));
}

TEST_F(PortTraffic, AFailedWriteIsTold)
{
    board.fail(node, {.on = "write", .error = EIO, .times = 1});
    EXPECT_EQ(outcome_of([] { return kt_serial_write(26, "AT", 2); }), failed(EIO, ""));
}

TEST_F(PortTraffic, AWriteWaitsForALineThatIsHeld)
{
    board.hold(node, true);
    const std::string much(10'000, 'x');
    std::thread other([] {
        virtual_terminal side;
        std::this_thread::sleep_for(150ms);
        side.hold(node, false);
    });
    const auto start = clock_type::now();
    EXPECT_EQ(kt_serial_write(26, much.data(), 10'000), 10'000);
    EXPECT_GE(clock_type::now() - start, 100ms);
    other.join();
    EXPECT_TRUE(board.expect(node, much));
}

TEST_F(PortTraffic, AnInterruptedWriteTellsHowMuchItWas)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    board.hold(node, true);
    const std::string much(10'000, 'x');
    const itimerval soon = {{0, 0}, {0, 200'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const int written = kt_serial_write(26, much.data(), 10'000);
    EXPECT_GT(written, 0);
    EXPECT_LT(written, 10'000);
    EXPECT_EQ(board.line(node).unsent, written);
}

TEST_F(PortTraffic, Port60WritesShortAndThenNothing)
{
    ASSERT_EQ(open_port(60).result, 0);
    board.hold("/dev/ttyGS0", true);
    const std::string much(10'000, 'x');
    const int written = kt_serial_write(60, much.data(), 10'000);
    EXPECT_GT(written, 0);
    EXPECT_LT(written, 10'000);
    EXPECT_EQ(outcome_of([] { return kt_serial_write(60, "x", 1); }), failed(EAGAIN, ""));
}

TEST_F(PortTraffic, BuffersThatAreNotThereAreRefused)
{
    board.send(node, "abc");
    EXPECT_EQ(outcome_of([] { return kt_serial_write(26, nullptr, 1); }), failed(EINVAL, ""));
    EXPECT_EQ(outcome_of([] { return kt_serial_read(26, nullptr, 1, 0); }), failed(EINVAL, ""));
    EXPECT_EQ(read_port(32, 0), bytes("abc"));
    EXPECT_EQ(board.writes(node), lines{});
}

TEST_F(PortTraffic, BytesThatWaitAreCountedInBothDirections)
{
    int tx = -1;
    int rx = -1;
    EXPECT_EQ(kt_serial_data_avail(26, &tx, &rx), 0);
    EXPECT_EQ(tx, 0);
    EXPECT_EQ(rx, 0);

    board.hold(node, true);
    ASSERT_EQ(kt_serial_write(26, "12345", 5), 5);
    board.send(node, "abc");
    EXPECT_EQ(kt_serial_data_avail(26, &tx, &rx), 0);
    EXPECT_EQ(tx, 5);
    EXPECT_EQ(rx, 3);

    tx = rx = -1;
    EXPECT_EQ(kt_serial_data_avail(26, nullptr, &rx), 0);
    EXPECT_EQ(rx, 3);
    EXPECT_EQ(kt_serial_data_avail(26, &tx, nullptr), 0);
    EXPECT_EQ(tx, 5);
    EXPECT_EQ(outcome_of([] { return kt_serial_data_avail(26, nullptr, nullptr); }), (outcome{0, 0, ""}));
}

TEST_F(PortTraffic, CountsThatTheLineDoesNotTellAreNoFailure)
{
    board.hang_up(node);
    int tx = -7;
    EXPECT_EQ(outcome_of([&] { return kt_serial_data_avail(26, &tx, nullptr); }).result, 0);
    EXPECT_EQ(tx, -7);
}

TEST_F(PortTraffic, AFlushDiscardsWhatCameAndNotWhatGoes)
{
    board.hold(node, true);
    ASSERT_EQ(kt_serial_write(26, "12345", 5), 5);
    board.send(node, "abc");
    board.forget();
    EXPECT_EQ(outcome_of([] { return kt_serial_flush(26); }), (outcome{0, 0, ""}));
    EXPECT_EQ(line_requests(board, node), lines{"TCFLSH TCIFLUSH"});
    EXPECT_EQ(board.line(node).waiting, 0);
    EXPECT_EQ(board.line(node).unsent, 5);
    board.hold(node, false);
    EXPECT_TRUE(board.expect(node, "12345"));
}
