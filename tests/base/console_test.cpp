/** Console output: raw and converting, whole, unflushed. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kt::tests;

namespace {

const unsigned char* bytes(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

std::string every_byte()
{
    std::string all;
    for (int value = 0; value < 256; ++value)
        all.push_back(static_cast<char>(value));
    return all;
}

/** Standard output on a device that takes nothing, unbuffered, so that every write fails at once. */
class full_stdout {
public:
    full_stdout()
    {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, STDOUT_FILENO);
        close(full);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
    ~full_stdout()
    {
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        std::clearerr(stdout);
    }
    full_stdout(const full_stdout&) = delete;
    full_stdout& operator=(const full_stdout&) = delete;

private:
    int saved_;
};

} // namespace

TEST(Console, PlaceholdersGiveTheirConstantAndPrintNothing)
{
    int log = -1;
    int sync = -1;
    const std::string text = printed([&] {
        log = kt_log_init();
        sync = kt_printf_syncobj();
        kt_console_switch();
        kt_suspend_ucos();
    });

    EXPECT_EQ(log, 0);
    EXPECT_EQ(sync, 0);
    EXPECT_EQ(text, "");
}

TEST(Console, OneCharacterGoesOutAndCountsAsOne)
{
    const struct {
        int ch;
        int raw;
        const char* expected;
    } rows[] = {
        {'a', 0, "a"}, {'a', 1, "a"}, {'\n', 0, "\r\n"}, {'\n', 1, "\n"}, {'\n', -1, "\n"}, {'\r', 0, "\r"},
    };
    for (const auto& row : rows) {
        int result = 0;
        EXPECT_EQ(printed([&] { result = putchar_i_v1(row.ch, row.raw); }), row.expected) << row.ch << ' ' << row.raw;
        EXPECT_EQ(result, 1);
    }
}

TEST(Console, PlainOutputIsRaw)
{
    int result = 0;
    EXPECT_EQ(printed([&] { result = kt_stdout(bytes("a\nb"), 3); }), "a\nb");
    EXPECT_EQ(result, 3);
}

TEST(Console, IrqOutputConvertsLineEnds)
{
    int result = 0;
    EXPECT_EQ(printed([&] { result = kt_stdout_irq(bytes("a\nb"), 3); }), "a\r\nb");
    EXPECT_EQ(result, 3); // the caller's bytes, added carriage returns not counted
}

TEST(Console, IrqOutputPutsACarriageReturnBeforeEveryLineFeed)
{
    EXPECT_EQ(printed([] { kt_stdout_irq(bytes("\n\n\r\n"), 4); }), "\r\n\r\n\r\r\n");
}

TEST(Console, EveryByteValuePasses)
{
    const std::string all = every_byte();
    std::string converted = all;
    converted.insert(converted.find('\n'), "\r");

    EXPECT_EQ(printed([&] { kt_stdout(bytes(all.data()), 256); }), all);
    EXPECT_EQ(printed([&] { kt_stdout_irq(bytes(all.data()), 256); }), converted);
}

TEST(Console, LongOutputIsWhole)
{
    const std::string text(100'000, 'x');
    int result = 0;
    EXPECT_EQ(printed([&] { result = kt_stdout(bytes(text.data()), 100'000); }), text);
    EXPECT_EQ(result, 100'000);
}

TEST(Console, ZeroAndNegativeLengthsPrintNothingAndAreReturned)
{
    for (const int length : {0, -1, -2147483647 - 1}) {
        int plain = 1;
        int irq = 1;
        const std::string text = printed([&] {
            plain = kt_stdout(bytes("abc"), length);
            irq = kt_stdout_irq(bytes("abc"), length);
        });
        EXPECT_EQ(text, "") << length;
        EXPECT_EQ(plain, length);
        EXPECT_EQ(irq, length);
    }
}

TEST(Console, NoBufferIsRefused)
{
    for (int (*const output)(const unsigned char*, int) : {kt_stdout, kt_stdout_irq}) {
        int result = -1;
        errno = 0;
        EXPECT_EQ(printed([&] { result = output(nullptr, 3); }), "");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(Console, OutputWaitsInTheStreamsBuffer)
{
    captured_stdout output;
    kt_stdout(bytes("a\n"), 2);
    kt_stdout_irq(bytes("b\n"), 2);
    kt_log_hexdump(1, bytes("c"));
    const std::string before = output.arrived();

    EXPECT_EQ(output.take(), "a\nb\r\n0000 : 63 : c\n");
    EXPECT_EQ(before, "");
}

TEST(Console, AFullDeviceIsIgnored)
{
    int one = 0;
    int plain = 0;
    int irq = 0;
    {
        const full_stdout nowhere;
        one = putchar_i_v1('a', 1);
        plain = kt_stdout(bytes("abc"), 3);
        irq = kt_stdout_irq(bytes("ab\n"), 3);
        kt_log_hexdump(3, bytes("abc"));
    }
    EXPECT_EQ(one, 1);
    EXPECT_EQ(plain, 3);
    EXPECT_EQ(irq, 3);
}
