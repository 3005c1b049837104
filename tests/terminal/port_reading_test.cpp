/** Reading a serial port: what a read waits for, and what ends its waiting. */
#include "port_calls.h"

using namespace kt::tests;

namespace {

class PortReading : public port_test {};

} // namespace

TEST_F(PortReading, WithMinimumAndWithoutTimeItWaitsForThatManyBytes)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 4, 0);
    waiting_call reader([&] { return read_now(port.fd(), 100); });
    board.send(path, "abc");
    EXPECT_TRUE(reader.waits());
    board.send(path, "de");
    EXPECT_EQ(reader.result(), gave("abcde"));
}

TEST_F(PortReading, AShorterBufferIsFilledBelowTheMinimum)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 200, 0);
    board.send(path, "abcdef");
    EXPECT_EQ(read_now(port.fd(), 4), gave("abcd"));
}

TEST_F(PortReading, WithoutMinimumAndTimeItNeverWaits)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 0, 0);
    EXPECT_EQ(read_now(port.fd(), 10), gave(""));
    board.send(path, "x");
    EXPECT_EQ(read_now(port.fd(), 10), gave("x"));
}

TEST_F(PortReading, WithoutMinimumItWaitsForTheFirstByteThatLong)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 0, 3);
    const call_result nothing = read_now(port.fd(), 10);
    EXPECT_EQ(nothing, gave(""));
    EXPECT_GE(nothing.took, 300ms);
    make_raw(port.fd(), 0, 200);
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    board.send(path, "x");
    const call_result one = reader.result();
    EXPECT_EQ(one, gave("x")) << "the first byte ends it";
    EXPECT_LT(one.took, 15s);
}

TEST_F(PortReading, WithBothTheTimeRunsBetweenBytes)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 10, 4);
    waiting_call reader([&] { return read_now(port.fd(), 100); });
    EXPECT_TRUE(reader.waits(700ms)) << "no time runs before the first byte";
    const auto first = std::chrono::steady_clock::now();
    for (const char* byte : {"a", "b", "c"}) {
        board.send(path, byte);
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_EQ(reader.result(), gave("abc"));
    EXPECT_GE(std::chrono::steady_clock::now() - first, 600ms) << "each byte starts it anew";
}

TEST_F(PortReading, ASignalEndsItWithWhatThereIs)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd(), 10, 0);
    waiting_call empty([&] { return read_now(port.fd(), 100); });
    EXPECT_TRUE(empty.waits());
    empty.interrupt();
    EXPECT_EQ(empty.result(), failed(EINTR));
    waiting_call begun([&] { return read_now(port.fd(), 100); });
    board.send(path, "abc");
    EXPECT_TRUE(begun.waits());
    begun.interrupt();
    EXPECT_EQ(begun.result(), gave("abc"));
}

TEST_F(PortReading, NonBlockingFollowsTheDescriptorsFlag)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd(), 5, 0);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    board.send(path, "ab");
    EXPECT_EQ(read_now(port.fd(), 10), gave("ab")) << "below the minimum";

    ASSERT_EQ(fcntl(port.fd(), F_SETFL, O_RDWR), 0);
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    board.send(path, "cdefg");
    EXPECT_EQ(reader.result(), gave("cdefg"));

    ASSERT_EQ(fcntl(port.fd(), F_SETFL, O_RDWR | O_NONBLOCK), 0);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    make_raw(port.fd(), 0, 0);
    EXPECT_EQ(read_now(port.fd(), 10), gave("")) << "what would not wait does not fail";
    make_raw(port.fd(), 0, 50);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
}

TEST_F(PortReading, AWaitingReaderDoesNotHoldUpOtherCalls)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    EXPECT_EQ(write_now(port.fd(), "out").count, 3U);
    EXPECT_EQ(board.sent(path), "out");
    const opened_file second(path, O_RDWR | O_NONBLOCK);
    EXPECT_EQ(read_now(second.fd(), 10), failed(EAGAIN)) << "the waiting one comes first";
    board.send(path, "in");
    EXPECT_EQ(reader.result(), gave("in"));
}

TEST_F(PortReading, TwoReadersShareOneQueue)
{
    const opened_file first(path, O_RDWR);
    const opened_file second(path, O_RDWR);
    make_raw(first.fd());
    board.send(path, "abcdef");
    EXPECT_EQ(read_now(first.fd(), 2), gave("ab"));
    EXPECT_EQ(read_now(second.fd(), 2), gave("cd"));
    EXPECT_EQ(read_now(first.fd(), 10), gave("ef"));

    waiting_call one([&] { return read_now(first.fd(), 1); });
    EXPECT_TRUE(one.waits());
    waiting_call two([&] { return read_now(second.fd(), 1); });
    EXPECT_TRUE(two.waits());
    board.send(path, "xy");
    EXPECT_EQ(one.result(), gave("x"));
    EXPECT_EQ(two.result(), gave("y"));
}

TEST_F(PortReading, LineWiseItGivesLines)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    board.send(path, "one\rtwo\nthr");
    EXPECT_EQ(read_now(port.fd(), 100), gave("one\n"));
    EXPECT_EQ(read_now(port.fd(), 2), gave("tw"));
    EXPECT_EQ(read_now(port.fd(), 100), gave("o\n"));
    EXPECT_EQ(read_now(port.fd(), 100), failed(EAGAIN));
    board.send(path, "ee\x04\x04");
    EXPECT_EQ(read_now(port.fd(), 100), gave("three")) << "an end of file pushes what there is";
    EXPECT_EQ(read_now(port.fd(), 100), gave(""));
    EXPECT_EQ(board.sent(path), "") << "nothing is echoed";
    board.send(path, "raw");
    make_raw(port.fd());
    EXPECT_EQ(read_now(port.fd(), 100), gave("raw"));
}

TEST_F(PortReading, MuchIsReadAsItCame)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    std::string all;
    for (int i = 0; i < 60000; ++i)
        all += static_cast<char>(i * 7 + i / 251);
    board.send(path, all);
    std::string got;
    while (got.size() < all.size()) {
        const call_result part = read_now(port.fd(), 5000);
        ASSERT_GT(part.count, 0U);
        got += part.bytes;
    }
    EXPECT_TRUE(got == all);
}

TEST_F(PortReading, ALineThatIsTooLongIsCutAndEnds)
{
    const opened_file port(path, O_RDWR);
    termios set{};
    ASSERT_EQ(tcgetattr(port.fd(), &set), 0);
    set.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &set), 0);
    board.send(path, std::string(70'000, 'l') + "\n");
    waiting_call reader([&] { return read_now(port.fd(), 100'000); });
    const call_result line = reader.result();
    EXPECT_EQ(line.error, 0);
    EXPECT_EQ(line.bytes.size(), 65536U);
    EXPECT_EQ(line.bytes.back(), '\n');
}
