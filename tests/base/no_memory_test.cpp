/** Functions that run out of memory: the four attribute functions pass the failure on, nothing else lets it out. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"
#include "tests/support/short_of_memory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <new>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

/** The failure of a missing attribute must be told in a text that no small string holds. */
constexpr const char* missing = "an_attribute_that_this_board_does_not_have";

char room[8] = "#######";
unsigned int room_length = 7;

struct row {
    const char* function;
    int (*call)();
};
const row attribute_functions[] = {
    {"get_string", [] { return kt_sys_attr_get_string(KT_IOCTL_DIR, missing, room, &room_length); }},
    {"get_int", [] { return kt_sys_attr_get_int(KT_IOCTL_DIR, missing); }},
    {"set_string", [] { return kt_sys_attr_set_string(KT_IOCTL_DIR, missing, "a value that is long enough"); }},
    {"set_int", [] { return kt_sys_attr_set_int(KT_IOCTL_DIR, missing, 1); }},
};

bool passes_bad_alloc(int (*call)())
{
    const short_of_memory now;
    try {
        static_cast<void>(call());
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/** What a call that may not let an exception out results in. */
int result_of(int (*call)())
{
    const short_of_memory now;
    errno = 0;
    return call();
}

} // namespace

TEST(NoMemory, PassesThroughTheAttributeFunctions)
{
    const std::set<int> before = open_descriptors();
    for (const row& tried : attribute_functions)
        EXPECT_TRUE(passes_bad_alloc(tried.call)) << tried.function;
    EXPECT_STREQ(room, "#######");
    EXPECT_EQ(room_length, 7u);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(NoMemory, IsAFailureWithEnomemElsewhere)
{
    const row rows[] = {
        {"kt_get_gps_power", [] { return kt_get_gps_power(); }},
        {"kt_camera_leden", [] { return kt_camera_leden(1); }},
        {"kt_bat_protect_cap", [] { return kt_bat_protect_cap(1); }},
        {"kt_sim_get_operate_id", [] { return kt_sim_get_operate_id(); }},
        {"kt_dock_exist", [] { return kt_dock_exist(); }},
        {"kt_usb_vbus_status", [] { return kt_usb_vbus_status(); }},
    };
    virtual_terminal board;
    board.remove("/sys/class/kt_misc/ioctl");
    for (const row& tried : rows) {
        EXPECT_EQ(result_of(tried.call), -1) << tried.function;
        EXPECT_EQ(errno, ENOMEM) << tried.function;
    }
}

TEST(NoMemory, LeavesTheFailureValuesOfQueriesAsTheyAre)
{
    virtual_terminal board;
    board.remove("/sys/class/kt_misc/ioctl");
    EXPECT_EQ(result_of(kt_get_bootmode), 0);
    EXPECT_EQ(result_of(kt_get_usb_route), 0);
    EXPECT_EQ(result_of([] { return kt_sim_set_operate_id(1); }), 0);
    EXPECT_EQ(result_of([] { return kt_ap_buzzer_control_ext(0, 1); }), 0);
}

TEST(NoMemory, StartsUpAllTheSame)
{
    virtual_terminal board;
    board.remove("/sys/class/kt_misc");
    int result = -1;
    printed([&] { result = result_of(kt_driverlib_init); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(kt_hardware_ver(), 0);
}

TEST(NoMemory, AVersionRecordFailsWithEnomem)
{
    virtual_terminal board;
    board.remove("/sys/class/kt_misc");
    const auto call = [] {
        kt_sysinfo record;
        return kt_get_sysinfo(&record);
    };
    EXPECT_EQ(result_of(call), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(NoMemory, TheChipTypeFollowsFromTheHardwareVersion)
{
    virtual_terminal board;
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "90\n", .mode = 0444});
    board.remove("/sys/class/kt_misc/nfc");
    kt_base_init();
    int chip = 0;
    printed([&] { chip = result_of(kt_get_rfid_chip); });
    EXPECT_EQ(chip, 6);
}
