/** Switches and queries that are one attribute access: the bytes, the value, and the result on failure. */
#include <kt_driver/base.h>
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

struct query {
    const char* function;
    int (*call)();
    const char* attribute;
    int on_failure;
};
const query queries[] = {
    {"kt_get_gps_power", kt_get_gps_power, "gps_pwr", -1},
    {"kt_get_bootmode", kt_get_bootmode, "sp_powerup_mode", 0},
    {"kt_get_usb_route", kt_get_usb_route, "usb_route", 0},
    {"kt_sim_get_operate_id", kt_sim_get_operate_id, "kt_sim_operate_id", -1},
    {"kt_dock_exist", kt_dock_exist, "kt_dock_exist", -1},
    {"kt_usb_vbus_status", kt_usb_vbus_status, "kt_usb_vbus_status", -1},
};

struct setting {
    const char* function;
    int (*call)(int value);
    const char* attribute;
    int on_failure;
};
const setting settings[] = {
    {"kt_camera_leden", kt_camera_leden, "cam_led", -1},
    {"kt_bat_protect_cap", kt_bat_protect_cap, "kt_bat_protect_cap", -1},
    {"kt_sim_set_operate_id", kt_sim_set_operate_id, "kt_sim_operate_id", 0},
    {"kt_ap_buzzer_control_ext", [](int value) { return kt_ap_buzzer_control_ext(17, value); }, "sp_buzzer", 0},
};

std::string path_of(const std::string& attribute)
{
    return KT_IOCTL_DIR + attribute;
}

} // namespace

TEST(Queries, GiveTheAttributesValue)
{
    virtual_terminal board;
    for (const query& tried : queries) {
        for (const int value : {0, 1, 5, 2147483647}) {
            board.attribute(path_of(tried.attribute), {.text = std::to_string(value) + "\n", .mode = 0444});
            board.forget();
            int result = -1;
            EXPECT_EQ(printed([&] { result = tried.call(); }), "") << tried.function;
            EXPECT_EQ(result, value) << tried.function;
            EXPECT_EQ(doings(board), lines{"open O_RDONLY " + path_of(tried.attribute)}) << tried.function;
        }
    }
}

TEST(Queries, AFailureIsLoggedAndGivesTheQuerysOwnValue)
{
    virtual_terminal board;
    for (const query& tried : queries) {
        board.remove(path_of(tried.attribute));
        board.forget();
        int result = 7;
        errno = 0;
        const std::string text = printed([&] { result = tried.call(); });
        const int cause = errno;
        EXPECT_EQ(text, "") << tried.function;
        EXPECT_EQ(result, tried.on_failure) << tried.function;
        EXPECT_EQ(cause, ENOENT) << tried.function;
        EXPECT_EQ(board.syslog(),
                  "kt_sys_attr_get_int stat " + path_of(tried.attribute) + " No such file or directory\n");
    }
}

TEST(Queries, AnUnreadableAttributeIsAFailureToo)
{
    virtual_terminal board;
    for (const query& tried : queries) {
        board.attribute(path_of(tried.attribute), {.text = "1\n"});
        board.fail(path_of(tried.attribute), {.on = "read", .error = EIO});
        errno = 0;
        EXPECT_EQ(tried.call(), tried.on_failure) << tried.function;
        EXPECT_EQ(errno, EIO) << tried.function;
    }
}

TEST(Queries, HardwareVersion50HasNoDockAndCannotTellVbus)
{
    virtual_terminal board;
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "50\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "kt_dock_exist", {.text = "1\n"});
    board.attribute(KT_IOCTL_DIR "kt_usb_vbus_status", {.text = "0\n"});
    kt_base_init();
    board.forget();
    EXPECT_EQ(kt_dock_exist(), 0);
    EXPECT_EQ(kt_usb_vbus_status(), 1);
    EXPECT_EQ(doings(board), lines{});
}

TEST(Queries, OtherHardwareVersionsReadDockAndVbus)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "kt_dock_exist", {.text = "1\n"});
    board.attribute(KT_IOCTL_DIR "kt_usb_vbus_status", {.text = "0\n"});
    for (const char* version : {"0\n", "5\n", "49\n", "51\n", "80\n", "90\n", "150\n", "500\n", "501\n"}) {
        board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = version, .mode = 0444});
        kt_base_init();
        EXPECT_EQ(kt_dock_exist(), 1) << version;
        EXPECT_EQ(kt_usb_vbus_status(), 0) << version;
    }
}

TEST(Settings, GoOutInHexadecimal)
{
    const struct {
        int value;
        const char* bytes;
    } values[] = {{0, "0x0"}, {1, "0x1"}, {100, "0x64"}, {2147483647, "0x7fffffff"}, {-1, "0xffffffff"}};
    virtual_terminal board;
    for (const setting& tried : settings) {
        for (const auto& row : values) {
            board.attribute(path_of(tried.attribute), {.text = "x\n"});
            board.forget();
            int result = -1;
            EXPECT_EQ(printed([&] { result = tried.call(row.value); }), "") << tried.function;
            EXPECT_EQ(result, 0) << tried.function;
            EXPECT_EQ(doings(board), (lines{"open O_RDWR " + path_of(tried.attribute),
                                            "write " + path_of(tried.attribute) + " " + row.bytes}))
                << tried.function;
        }
    }
}

TEST(Settings, AFailureIsLoggedAndGivesTheSettingsOwnResult)
{
    virtual_terminal board;
    for (const setting& tried : settings) {
        board.attribute(path_of(tried.attribute), {.text = "x\n"});
        board.fail(path_of(tried.attribute), {.on = "write", .error = EBUSY});
        board.forget();
        int result = 7;
        errno = 0;
        const std::string text = printed([&] { result = tried.call(1); });
        const int cause = errno;
        EXPECT_EQ(text, "") << tried.function;
        EXPECT_EQ(result, tried.on_failure) << tried.function;
        if (tried.on_failure == -1) {
            EXPECT_EQ(cause, EBUSY) << tried.function;
        }
        EXPECT_EQ(board.syslog(),
                  "kt_sys_attr_set_int can't write 0x1 to " + path_of(tried.attribute) + " Device or resource busy\n");
    }
}

TEST(Settings, TheBuzzersFirstArgumentIsNotUsed)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "sp_buzzer", {.text = "x\n"});
    for (const int unused : {0, 1, -1, 2147483647}) {
        board.forget();
        EXPECT_EQ(kt_ap_buzzer_control_ext(unused, 10), 0);
        EXPECT_EQ(board.writes(KT_IOCTL_DIR "sp_buzzer"), lines{"0xa"});
    }
}

TEST(Settings, TheSimOperatorIsReadBack)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "kt_sim_operate_id", {.text = "0\n", .kind = "integer"});
    EXPECT_EQ(kt_sim_set_operate_id(3), 0);
    EXPECT_EQ(kt_sim_get_operate_id(), 3);
}
