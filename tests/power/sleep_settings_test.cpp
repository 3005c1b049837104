/** The sleep's time-out as it is kept: in which file, beside what, and which texts it is read from. */
#include <kt_driver/config.h>
#include <kt_driver/power.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr char file[] = "/mnt/data/autosuspend.ini";

void put(const std::string& text)
{
    std::ofstream(file, std::ios::trunc) << text;
}

std::string held_text(const char* key)
{
    char out[2048] = {};
    EXPECT_EQ(kt_ini_read(file, "Property", key, out), 0);
    return out;
}

} // namespace

TEST(SleepTimeout, IsKeptAsDecimalText)
{
    const struct {
        int value;
        const char* text;
    } rows[] = {{60, "60"}, {0, "0"}, {-5, "-5"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}};
    put("[Property]\n");
    for (const auto& row : rows) {
        int result = -2;
        int read = -2;
        EXPECT_EQ(printed([&] {
                      result = kt_sleep_timeout(row.value);
                      read = kt_get_sleep_timeout();
                  }),
                  "")
            << row.text;
        EXPECT_EQ(result, 0) << row.text;
        EXPECT_EQ(read, row.value) << row.text;
        EXPECT_EQ(held_text("timeout"), row.text);
    }
}

TEST(SleepTimeout, LeavesTheBacklightsTimeoutAlone)
{
    put("[Property]\nautorest_timeout=45\ntimeout=1\n[Other]\ntimeout=9\n");
    EXPECT_EQ(kt_sleep_timeout(60), 0);
    EXPECT_EQ(held_text("autorest_timeout"), "45");
    EXPECT_EQ(kt_get_sleep_timeout(), 60);
    char out[128] = {};
    EXPECT_EQ(kt_ini_read(file, "Other", "timeout", out), 0);
    EXPECT_STREQ(out, "9");
}

TEST(SleepTimeout, IsReadAsTheNumberItsTextBeginsWith)
{
    const struct {
        const char* line;
        int value;
    } rows[] = {
        {"timeout=12abc", 12}, {"timeout = -7", -7},     {"timeout=abc", 0}, {"timeout=", 0},
        {"timeout=0x10", 0},   {"timeout=\" +9\"", 9},   {"timeout=3.9", 3}, {"other=5", 0},
        {"TimeOut=8", 8},      {"timeout=10 ; ten", 10}, {"timeout=007", 7},
    };
    for (const auto& row : rows) {
        put("[Property]\n" + std::string(row.line) + "\n");
        int read = -2;
        EXPECT_EQ(printed([&] { read = kt_get_sleep_timeout(); }), "") << row.line;
        EXPECT_EQ(read, row.value) << row.line;
    }
}

TEST(SleepTimeout, ALongTextIsReadUpTo127Characters)
{
    put("[Property]\ntimeout=" + std::string(120, '0') + "1234567\n"); // fits
    EXPECT_EQ(kt_get_sleep_timeout(), 1234567);
    put("[Property]\ntimeout=" + std::string(120, '0') + "12345678\n");
    EXPECT_EQ(kt_get_sleep_timeout(), 1234567);
    put("[Property]\ntimeout=5" + std::string(900, 'x') + "\n");
    EXPECT_EQ(kt_get_sleep_timeout(), 5);
}

TEST(SleepTimeout, IsOnlyKeptInAFileThatIsThere)
{
    unlink(file);
    virtual_terminal board;
    board.forget();
    int result = -2;
    int read = -2;
    EXPECT_EQ(printed([&] { result = kt_sleep_timeout(60); }), "dictionary_new error\n");
    EXPECT_EQ(printed([&] { read = kt_get_sleep_timeout(); }), "dictionary_new error\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(read, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(told(board, {"open", "create", "write"}), std::vector<std::string>{});
}

TEST(SleepTimeout, AFileThatCannotBeWrittenStaysAsItIs)
{
    put("[Property]\ntimeout=60\n");
    virtual_terminal board;
    const int rule = board.fail(file, {.on = "open", .error = EROFS, .skip = 1}); // it is read before
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_sleep_timeout(5); }), "cannot open /mnt/data/autosuspend.ini\n");
    board.mend(rule);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(kt_get_sleep_timeout(), 60);
}
