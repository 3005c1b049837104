/** Tamper state: the words, the secure processor's silence, and the texts that its driver may show. */
#include <kt_driver/tamper.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"
#include "tests/support/sleep_requests.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr char status[] = KT_IOCTL_DIR "sp_tamper_status";
constexpr char reset[] = KT_IOCTL_DIR "sp_tamper_reset";
constexpr char silence[] = "ap_tamper_read sp no resp..\n";
constexpr char failure_text[] = "get sp_tamper_status error\n";
constexpr unsigned int no_answer = 0xCCCCCCCC;

/** Both reads of one text. */
struct answers {
    int status = -2;
    int length = -2;
    std::array<std::uint8_t, 6> ram{}; // two more than are written

    bool operator==(const answers&) const = default;
};

void PrintTo(const answers& told, std::ostream* out)
{
    *out << "status " << std::hex << told.status << " length " << told.length << " ram";
    for (const unsigned byte : told.ram)
        *out << ' ' << byte;
}

constexpr std::uint8_t beyond = 0xEE;

/** What the calls give when the words are these. */
answers words(std::uint32_t status_word, std::uint32_t ram_word)
{
    const auto byte = [&](int at) { return static_cast<std::uint8_t>(ram_word >> (8 * at)); };
    return {static_cast<int>(status_word), 4, {byte(0), byte(1), byte(2), byte(3), beyond, beyond}};
}

answers read_both(int address = 0)
{
    answers told;
    told.ram.fill(beyond);
    told.status = kt_ap_tamper_read();
    told.length = kt_ap_tamper_ram_read(address, told.ram.data());
    return told;
}

/** The reading calls' accesses to the status: opens, reads and syslog lines. */
lines accesses(virtual_terminal& board)
{
    return told(board, {"open", "read", "write", "shell", "program", "syslog"});
}

lines times(std::size_t count, const lines& each)
{
    lines all;
    for (std::size_t i = 0; i < count; ++i)
        all.insert(all.end(), each.begin(), each.end());
    return all;
}

lines one_read(const std::string& text)
{
    return {"open O_RDONLY " + std::string(status), "read " + std::string(status) + " " + text};
}

std::string repeated(const std::string& text, int count)
{
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace

TEST(Tamper, BothWordsAreReadFromOneText)
{
    const struct {
        const char* text;
        std::uint32_t status, ram;
    } rows[] = {
        {"0x0,0x12345678\n", 0, 0x12345678},
        {"0x12345678,0x9abcdef0\n", 0x12345678, 0x9ABCDEF0},
        {"0xffffffff,0x1\n", 0xFFFFFFFF, 1},
        {"0x80000000,0x80\n", 0x80000000, 0x80},
        {"0xcccccccd,0xcccccccc\n", 0xCCCCCCCD, 0xCCCCCCCC}, // only the status tells of silence
        {"0xABCDEF,0xFEDCBA", 0xABCDEF, 0xFEDCBA},           // no line feed
        {"0x00000001,0x00000002\n", 1, 2},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(status, {.text = row.text, .mode = 0444});
        board.forget();
        answers read;
        EXPECT_EQ(printed([&] { read = read_both(); }), "") << row.text;
        EXPECT_EQ(read, words(row.status, row.ram)) << row.text;
        EXPECT_EQ(accesses(board), times(2, one_read(row.text))) << row.text;
    }
}

TEST(Tamper, TheRamWordComesInTheProcessorsByteOrder)
{
    virtual_terminal board;
    board.attribute(status, {.text = "0x0,0x12345678\n", .mode = 0444});
    std::array<std::uint8_t, 6> bytes;
    bytes.fill(beyond);
    EXPECT_EQ(kt_ap_tamper_ram_read(0, bytes.data()), 4);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 6>{0x78, 0x56, 0x34, 0x12, beyond, beyond}));
}

TEST(Tamper, TheRamsAddressIsIgnored)
{
    virtual_terminal board;
    board.attribute(status, {.text = "0x5,0x12345678\n", .mode = 0444});
    for (const int address : {0, 1, 4, -1, 0x7FFFFFFF})
        EXPECT_EQ(read_both(address), words(5, 0x12345678)) << address;
}

TEST(Tamper, WhatDoesNotFitTheFormReadsAsZero)
{
    const struct {
        const char* text;
        std::uint32_t status, ram;
    } rows[] = {
        {"", 0, 0},
        {"\n", 0, 0},
        {"junk\n", 0, 0},
        {"0\n", 0, 0},
        {"0x\n", 0, 0},
        {"0xg,0x1\n", 0, 0},
        {"1,2\n", 0, 0}, // the prefix is part of the form
        {" 0x1,0x2\n", 0, 0},
        {"0X1,0x2\n", 0, 0},
        {"0x1\n", 1, 0},
        {"0x1,\n", 1, 0},
        {"0x1,0x\n", 1, 0},
        {"0x1,2\n", 1, 0},
        {"0x1;0x2\n", 1, 0},
        {"0x1 ,0x2\n", 1, 0},
        {"0x1, 0x2\n", 1, 0},
        {"0x1,0x2,0x3\n", 1, 2},
        {"0x1,0x2junk\n", 1, 2},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(status, {.text = row.text, .mode = 0444});
        answers read;
        EXPECT_EQ(printed([&] { read = read_both(); }), "") << row.text;
        EXPECT_EQ(read, words(row.status, row.ram)) << row.text;
    }
}

TEST(Tamper, ALongTextIsReadUpToAHundredAndTwentySevenCharacters)
{
    const std::string end = "1,0x12345678";
    const std::string fits = "0x" + std::string(127 - 2 - end.size(), '0') + end;
    const std::string cut = "0x" + std::string(128 - 2 - end.size(), '0') + end;
    const std::string page = "0x7,0x8" + std::string(4000, 'x');
    const std::string far = "0x7," + std::string(200, ' ') + "0x8\n";
    ASSERT_EQ(fits.size(), 127u);
    const struct {
        const std::string& text;
        std::uint32_t status, ram;
    } rows[] = {{fits, 1, 0x12345678}, {cut, 1, 0x1234567}, {page, 7, 8}, {far, 7, 0}};
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(status, {.text = row.text, .mode = 0444});
        EXPECT_EQ(read_both(), words(row.status, row.ram)) << row.text;
    }
}

TEST(Tamper, ASilentProcessorIsAskedFiveTimes)
{
    constexpr char text[] = "0xcccccccc,0x90abcdef\n";
    virtual_terminal board;
    board.attribute(status, {.text = text, .mode = 0444});
    board.forget();
    std::array<std::uint8_t, 6> bytes;
    bytes.fill(beyond);
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_ap_tamper_ram_read(7, bytes.data()); }), repeated(silence, 5));
    EXPECT_EQ(result, 4);
    EXPECT_EQ(bytes, words(0, 0x90ABCDEF).ram); // as it stands
    EXPECT_EQ(accesses(board), times(5, one_read(text)));
}

TEST(Tamper, TheWaitsForASilentProcessorsStatusAreFourOfHalfASecond)
{
    constexpr char text[] = "0xcccccccc,0x0\n";
    virtual_terminal board;
    board.attribute(status, {.text = text, .mode = 0444});
    board.forget();
    const sleeper_run run = trace_sleeper("kt_ap_tamper_read", no_answer);
    EXPECT_EQ(run.requests, (std::vector<sleep_request>(4, {0, 500'000'000})));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(accesses(board), times(5, one_read(text)));
}

TEST(Tamper, AnAnswerEndsTheQuestions)
{
    const struct {
        const char* change;
        int silent;
        int result;
    } rows[] = {
        {R"({"set": {"status": "0x21", "ram": "0x9", "silent": 1}})", 1, 0x21},
        {R"({"set": {"status": "0x0", "ram": "0x9", "silent": 4}})", 4, 0},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.tamper(row.change);
        board.forget();
        int result = -2;
        EXPECT_EQ(printed([&] { result = kt_ap_tamper_read(); }), repeated(silence, row.silent)) << row.change;
        EXPECT_EQ(result, row.result) << row.change;
        EXPECT_EQ(board.events_of({"read"}).size(), static_cast<std::size_t>(row.silent) + 1) << row.change;
    }
}

TEST(Tamper, ASilentAnswerLeavesNothingInTheNextWords)
{
    virtual_terminal board;
    board.attribute(status, {.text = "0xcccccccc,0x55\n", .mode = 0444});
    board.forget();
    std::array<std::uint8_t, 6> bytes;
    bytes.fill(beyond);
    int result = -2;
    const std::string output = printed([&] {
        virtual_terminal own;
        own.forget();
        std::thread other_side([&] {
            (void)own.wait({.kind = "read", .path = status}, 10s);
            own.attribute(status, {.text = "0x3", .mode = 0444});
        });
        result = kt_ap_tamper_ram_read(0, bytes.data());
        other_side.join();
    });
    EXPECT_TRUE(output.starts_with(silence)) << output; // more than once on a busy machine
    EXPECT_EQ(result, 4);
    EXPECT_EQ(bytes, words(0, 0).ram);
}

TEST(Tamper, AStatusThatCannotBeReadIsNoTamperAndIsNotAskedAgain)
{
    const struct {
        const char* text;
        const char* on; // null: the attribute is not there
        int error;
        lines told;
    } rows[] = {
        {"read",
         "read",
         EIO,
         {"open O_RDONLY " + std::string(status), "read " + std::string(status) + "  = EIO",
          "syslog 3 kt_sys_attr_get_string can't read " + std::string(status) + " Input/output error\n"}},
        {"open",
         "open",
         EACCES,
         {"open O_RDONLY " + std::string(status) + " = EACCES",
          "syslog 3 kt_sys_attr_get_string can't open " + std::string(status) + " Permission denied\n"}},
        {"missing",
         nullptr,
         ENOENT,
         {"syslog 3 kt_sys_attr_get_string stat " + std::string(status) + " No such file or directory\n"}},
    };
    virtual_terminal board;
    for (const bool of_ram : {false, true}) {
        board.attribute(status, {.text = "0x1,0x2\n", .mode = 0444});
        for (const auto& row : rows) {
            int rule = 0;
            if (row.on == nullptr)
                board.remove(status);
            else
                rule = board.fail(status, {.on = row.on, .error = row.error});
            std::array<std::uint8_t, 6> bytes;
            bytes.fill(beyond);
            board.forget();
            int result = -2;
            int cause = 0;
            const std::string output = printed([&] {
                errno = 0;
                result = of_ram ? kt_ap_tamper_ram_read(0, bytes.data()) : kt_ap_tamper_read();
                cause = errno;
            });
            EXPECT_EQ(output, failure_text) << row.text;
            EXPECT_EQ(result, of_ram ? 4 : 0) << row.text;
            EXPECT_EQ(cause, row.error) << row.text;
            if (of_ram) {
                EXPECT_EQ(bytes, words(0, 0).ram) << row.text;
            }
            EXPECT_EQ(accesses(board), row.told) << row.text;
            if (rule != 0)
                board.mend(rule);
        }
    }
}

TEST(Tamper, ReadingIntoNothingIsRefusedWithoutARead)
{
    virtual_terminal board;
    board.attribute(status, {.text = "0x1,0x2\n", .mode = 0444});
    board.forget();
    int result = -2;
    int cause = 0;
    EXPECT_EQ(printed([&] {
                  errno = 0;
                  result = kt_ap_tamper_ram_read(0, nullptr);
                  cause = errno;
              }),
              "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(cause, EINVAL);
    EXPECT_EQ(accesses(board), lines{});
}

TEST(Tamper, ResettingIsACommandAndAWait)
{
    virtual_terminal board;
    board.attribute(reset, {.text = "1\n", .mode = 0200});
    board.forget();
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_ap_tamper_reset(); }), "");
    EXPECT_EQ(close(open(status, O_RDONLY | O_CLOEXEC)), 0); // the journal tells when
    EXPECT_EQ(result, 0);
    EXPECT_EQ(told(board, {"shell", "write", "program", "syslog"}),
              (lines{"shell echo 0 > " + std::string(reset), "write " + std::string(reset) + " 0\n"}));

    const auto written = board.events_of({"write"});
    ASSERT_EQ(written.size(), 1u);
    EXPECT_GE(board.last_open(status).time_s - written[0].time_s, 0.199); // the wait comes behind the command
}

TEST(Tamper, TheWaitAfterAResetIsAFifthOfASecond)
{
    virtual_terminal board;
    board.attribute(reset, {.text = "1\n", .mode = 0200});
    const sleeper_run run = trace_sleeper("kt_ap_tamper_reset", 0);
    EXPECT_EQ(run.requests, (std::vector<sleep_request>{{0, 200'000'000}}));
    EXPECT_EQ(run.status, 0);
}

TEST(Tamper, ResettingGivesZeroWithoutTheAttributeToo)
{
    virtual_terminal board;
    board.attribute(reset, {.text = "1\n", .mode = 0200});
    board.remove(reset);
    board.forget();
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_ap_tamper_reset(); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(told(board, {"shell", "write", "program", "syslog"}), lines{"shell echo 0 > " + std::string(reset)});
}

TEST(Tamper, WhatIsThereForCompatibilityDoesNothing)
{
    virtual_terminal board;
    board.forget();
    const std::uint8_t bytes[] = {1, 2, 3};
    std::vector<int> results;
    EXPECT_EQ(printed([&] {
                  results = {kt_ap_tamper_init(),
                             kt_ap_tamper_detect_enable(),
                             kt_ap_tamper_ram_write(0, bytes, 3),
                             kt_ap_tamper_ram_write(4, nullptr, 128),
                             kt_ap_tamper_ram_write(-1, bytes, -7),
                             kt_ap_tamper_ram_write(0, nullptr, 0)};
              }),
              "");
    EXPECT_EQ(results, (std::vector<int>{0, 0, 3, 128, -7, 0}));
    EXPECT_EQ(accesses(board), lines{});
}
