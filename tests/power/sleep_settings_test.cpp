/** The settings around the sleep: its time-out in a file, the wake lock, the board's word on boot and wake-up. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/files.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <climits>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr char file[] = "/mnt/data/autosuspend.ini";

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
    put(file, "[Property]\n");
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
    put(file, "[Property]\nautorest_timeout=45\ntimeout=1\n[Other]\ntimeout=9\n");
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
        {"timeout=12abc", 12},
        {"timeout = -7", -7},
        {"timeout=abc", 0},
        {"timeout=", 0},
        {"timeout=0x10", 0},
        {"timeout=\" +9\"", 9},
        {"timeout=3.9", 3},
        {"other=5", 0},
        {"TimeOut=8", 8},
        {"timeout=10 ; ten", 10},
        {"timeout=007", 7},
        {"timeout=2147483648", INT_MAX},
        {"timeout=-99999999999", INT_MIN},
    };
    for (const auto& row : rows) {
        put(file, "[Property]\n" + std::string(row.line) + "\n");
        int read = -2;
        EXPECT_EQ(printed([&] { read = kt_get_sleep_timeout(); }), "") << row.line;
        EXPECT_EQ(read, row.value) << row.line;
    }
}

TEST(SleepTimeout, ALongTextIsReadUpTo127Characters)
{
    put(file, "[Property]\ntimeout=" + std::string(120, '0') + "1234567\n"); // fits
    EXPECT_EQ(kt_get_sleep_timeout(), 1234567);
    put(file, "[Property]\ntimeout=" + std::string(120, '0') + "12345678\n");
    EXPECT_EQ(kt_get_sleep_timeout(), 1234567);
    put(file, "[Property]\ntimeout=5" + std::string(900, 'x') + "\n");
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
    EXPECT_EQ(told(board, {"open", "create", "write"}), lines{});
}

TEST(SleepTimeout, AFileThatCannotBeWrittenStaysAsItIs)
{
    put(file, "[Property]\ntimeout=60\n");
    virtual_terminal board;
    const int rule = board.fail(file, {.on = "open", .error = EROFS, .skip = 1}); // it is read before
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_sleep_timeout(5); }), "cannot open /mnt/data/autosuspend.ini\n");
    board.mend(rule);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(kt_get_sleep_timeout(), 60);
}

TEST(SleepLock, IsTheKernelsWakeLock)
{
    virtual_terminal board;
    for (const int lock : {1, -1, 0}) {
        board.forget();
        int result = -1;
        EXPECT_EQ(printed([&] { result = kt_sleep_lock(lock); }), "");
        EXPECT_EQ(result, 0);
        const std::string file = lock != 0 ? "/sys/power/wake_lock" : "/sys/power/wake_unlock";
        EXPECT_EQ(told(board, {"shell", "write"}), (lines{"shell echo drv > " + file, "write " + file + " drv\n"}));
    }
}

TEST(SleepLock, GivesTheShellsStatus)
{
    virtual_terminal board;
    board.fail("/sys/power/wake_lock", {.on = "write", .error = EIO});
    int result = 0;
    printed([&] { result = kt_sleep_lock(1); });
    EXPECT_TRUE(WIFEXITED(result));
    EXPECT_EQ(WEXITSTATUS(result), 1);
}

TEST(BoardsWord, OnBootTimeAndWakeUpIsAnAttribute)
{
    virtual_terminal board;
    const struct {
        const char* attribute;
        int (*get)();
    } rows[] = {{KT_IOCTL_DIR "kt_boottime", kt_get_boottime}, {KT_IOCTL_DIR "kt_pm_event", kt_pm_wakeup_event}};
    for (const auto& row : rows) {
        board.attribute(row.attribute, {.text = "37\n", .mode = 0444});
        EXPECT_EQ(printed([&] { EXPECT_EQ(row.get(), 37); }), "");
        board.remove(row.attribute);
        board.forget();
        EXPECT_EQ(row.get(), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(board.syslog(),
                  std::string("kt_sys_attr_get_int stat ") + row.attribute + " No such file or directory\n");
    }
}
