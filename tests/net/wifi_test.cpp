/** The Wi-Fi radio: which switch is used for which module, what is written, and the pause. */
#include <kt_driver/base.h>
#include <kt_driver/net.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* rfkill_state = "/sys/class/rfkill/rfkill0/state";

/** The module's version as the board tells it at start-up. */
void has_module(virtual_terminal& board, const std::string& version)
{
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = version + "\n", .mode = 0444});
    kt_base_init();
    board.forget();
}

/** Both names of a call, which do the same. */
struct named_call {
    const char* name;
    int (*call)();
};
const named_call starts[] = {{"kt_wifi_start", kt_wifi_start}, {"kt_wifi_resume", kt_wifi_resume}};
const named_call stops[] = {{"kt_wifi_stop", kt_wifi_stop}, {"kt_wifi_suspend", kt_wifi_suspend}};

/** The shortest of several runs: what it takes at least, whatever else the machine does. */
std::chrono::nanoseconds shortest_of(int runs, int (*call)())
{
    std::chrono::nanoseconds shortest = std::chrono::hours(1);
    for (; runs > 0; --runs) {
        const auto start = std::chrono::steady_clock::now();
        (void)call();
        shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
    }
    return shortest;
}

} // namespace

TEST(Wifi, Version1IsUnblockedWhereItIsBlocked)
{
    virtual_terminal board;
    has_module(board, "1");
    for (const named_call& tried : starts) {
        board.attribute(rfkill_state, {.text = "0\n"});
        board.forget();
        int result = -1;
        EXPECT_EQ(printed([&] { result = tried.call(); }), "") << tried.name;
        EXPECT_EQ(result, 0) << tried.name;
        EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}),
                  (lines{"shell rfkill unblock wifi", "program rfkill unblock wifi"}))
            << tried.name;
    }
}

TEST(Wifi, Version1ThatIsUnblockedStartsWithoutACommand)
{
    virtual_terminal board;
    has_module(board, "1");
    for (const named_call& tried : starts) {
        for (const char* state : {"1\n", "2\n"}) {
            board.attribute(rfkill_state, {.text = state});
            board.forget();
            EXPECT_EQ(tried.call(), 0) << tried.name;
            EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}), lines{}) << tried.name << ' ' << state;
            EXPECT_EQ(opens_of(board, rfkill_state), 1) << tried.name << ' ' << state;
        }
    }
}

TEST(Wifi, Version1IsBlockedWhereItIsUnblocked)
{
    virtual_terminal board;
    has_module(board, "1");
    for (const named_call& tried : stops) {
        for (const char* state : {"1\n", "2\n"}) {
            board.attribute(rfkill_state, {.text = state});
            board.forget();
            int result = -1;
            EXPECT_EQ(printed([&] { result = tried.call(); }), "") << tried.name;
            EXPECT_EQ(result, 0) << tried.name;
            EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}),
                      (lines{"shell rfkill block wifi", "program rfkill block wifi"}))
                << tried.name << ' ' << state;
        }
    }
}

TEST(Wifi, Version1ThatIsBlockedStopsWithoutACommand)
{
    virtual_terminal board;
    has_module(board, "1");
    board.attribute(rfkill_state, {.text = "0\n"});
    board.forget();
    for (const named_call& tried : stops)
        EXPECT_EQ(tried.call(), 0) << tried.name;
    EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}), lines{});
}

TEST(Wifi, Version1WhoseStateCannotBeReadCountsAsUnblocked)
{
    const std::string log =
        "syslog 3 kt_sys_attr_get_int can't read " + std::string(rfkill_state) + " Input/output error\n";
    virtual_terminal board;
    has_module(board, "1");
    board.attribute(rfkill_state, {.text = "0\n"});
    board.fail(rfkill_state, {.on = "read", .error = EIO});
    for (const named_call& tried : starts) {
        board.forget();
        EXPECT_EQ(tried.call(), 0) << tried.name;
        EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}), lines{log}) << tried.name;
    }
    for (const named_call& tried : stops) {
        board.forget();
        EXPECT_EQ(tried.call(), 0) << tried.name;
        EXPECT_EQ(told(board, {"shell", "program", "write", "syslog"}),
                  (lines{log, "shell rfkill block wifi", "program rfkill block wifi"}))
            << tried.name;
    }
}

TEST(Wifi, AFailingRfkillIsNotReported)
{
    virtual_terminal board;
    has_module(board, "1");
    board.program("rfkill", 1);
    board.attribute(rfkill_state, {.text = "0\n"});
    EXPECT_EQ(kt_wifi_start(), 0);
    board.attribute(rfkill_state, {.text = "1\n"});
    EXPECT_EQ(kt_wifi_stop(), 0);
}

TEST(Wifi, Version1WaitsAHundredMillisecondsInAnyCase)
{
    virtual_terminal board;
    has_module(board, "1");
    board.attribute(rfkill_state, {.text = "1\n"}); // nothing to start
    const auto idle_start = shortest_of(5, kt_wifi_start);
    EXPECT_GE(idle_start, 100ms);
    EXPECT_LT(idle_start, 200ms);
    const auto stop = shortest_of(5, kt_wifi_stop);
    EXPECT_GE(stop, 100ms);
    board.attribute(rfkill_state, {.text = "0\n"}); // nothing to stop
    const auto idle_stop = shortest_of(5, kt_wifi_stop);
    EXPECT_GE(idle_stop, 100ms);
    EXPECT_LT(idle_stop, 200ms);
    EXPECT_GE(shortest_of(5, kt_wifi_start), 100ms);
}

TEST(Wifi, OtherVersionsAreSwitchedByTheBoardsDriverWhere0IsOn)
{
    virtual_terminal board;
    for (const char* version : {"0", "2", "10", "11", "-1", "", "x"}) {
        has_module(board, version);
        board.attribute(KT_IOCTL_DIR "wifi_status", {.text = "before\n"});
        for (const named_call& tried : starts) {
            board.forget();
            int result = -1;
            EXPECT_EQ(printed([&] { result = tried.call(); }), "") << tried.name;
            EXPECT_EQ(result, 0) << tried.name;
            EXPECT_EQ(doings(board),
                      (lines{"open O_RDWR " KT_IOCTL_DIR "wifi_status", "write " KT_IOCTL_DIR "wifi_status 0x0"}))
                << tried.name << ' ' << version;
        }
        for (const named_call& tried : stops) {
            board.forget();
            EXPECT_EQ(tried.call(), 0) << tried.name;
            EXPECT_EQ(doings(board),
                      (lines{"open O_RDWR " KT_IOCTL_DIR "wifi_status", "write " KT_IOCTL_DIR "wifi_status 0x1"}))
                << tried.name << ' ' << version;
        }
    }
}

TEST(Wifi, OtherVersionsDoNotWait)
{
    virtual_terminal board;
    has_module(board, "2");
    EXPECT_LT(shortest_of(10, kt_wifi_start), 100ms);
    EXPECT_LT(shortest_of(10, kt_wifi_stop), 100ms);
}

TEST(Wifi, AFailedWriteIsOnlyInTheLog)
{
    virtual_terminal board;
    has_module(board, "2");
    board.fail(KT_IOCTL_DIR "wifi_status", {.on = "write", .error = EIO});
    EXPECT_EQ(kt_wifi_start(), 0);
    EXPECT_EQ(kt_wifi_stop(), 0);
    EXPECT_EQ(board.syslog(),
              "kt_sys_attr_set_int can't write 0x0 to " KT_IOCTL_DIR "wifi_status Input/output error\n"
              "kt_sys_attr_set_int can't write 0x1 to " KT_IOCTL_DIR "wifi_status Input/output error\n");
}

TEST(Wifi, TheModuleIsTheOneReadAtStartUp)
{
    virtual_terminal board;
    has_module(board, "1");
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = "2\n", .mode = 0444}); // not read again
    board.attribute(rfkill_state, {.text = "0\n"});
    board.forget();
    EXPECT_EQ(kt_wifi_start(), 0);
    EXPECT_EQ(board.commands(), lines{"rfkill unblock wifi"});
    EXPECT_EQ(opens_of(board, KT_SYSINFO_DIR "wifimodule"), 0);
}

TEST(Wifi, UpgradeModeDoesNothing)
{
    virtual_terminal board;
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_wifi_upgrademode(); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(doings(board), lines{});
}

TEST(WifiKeepAlive, IsWrittenInHexadecimalAndReadBack)
{
    const struct {
        int value;
        const char* bytes;
    } rows[] = {{0, "0x0"}, {1, "0x1"}, {26, "0x1a"}, {-1, "0xffffffff"}};
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(KT_IOCTL_DIR "kt_wifi_keepalived", {.text = "before\n"});
        board.forget();
        EXPECT_EQ(kt_wifi_set_keepalived(row.value), 0);
        EXPECT_EQ(doings(board), (lines{"open O_RDWR " KT_IOCTL_DIR "kt_wifi_keepalived",
                                        "write " KT_IOCTL_DIR "kt_wifi_keepalived " + std::string(row.bytes)}));
    }
    for (const int value : {0, 1, 2147483647}) {
        board.attribute(KT_IOCTL_DIR "kt_wifi_keepalived", {.text = std::to_string(value) + "\n"});
        EXPECT_EQ(kt_wifi_get_keepalived(), value);
    }
}

TEST(WifiKeepAlive, GivesTheResultOfTheAccess)
{
    virtual_terminal board;
    const int rule = board.fail(KT_IOCTL_DIR "kt_wifi_keepalived", {.on = "write", .error = EBUSY});
    errno = 0;
    EXPECT_EQ(kt_wifi_set_keepalived(1), -1);
    EXPECT_EQ(errno, EBUSY);
    board.mend(rule);
    board.fail(KT_IOCTL_DIR "kt_wifi_keepalived", {.on = "read", .error = EIO});
    errno = 0;
    EXPECT_EQ(kt_wifi_get_keepalived(), -1);
    EXPECT_EQ(errno, EIO);
}
