/** Start-up: its steps, their order, and that nothing stops it. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/interposed_calls.h"
#include "tests/support/journal_lines.h"
#include "tests/support/own_standard_input.h"
#include "tests/support/own_supply.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <string_view>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

void prepare(virtual_terminal& board)
{
    board.attribute(KT_SYSINFO_DIR "ubootver", {.text = "U1\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "kernelver", {.text = "K2\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "rootfsver", {.text = "R3\nbuilt today\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "90\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = "2\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "1\n"});
    give_supply(board);
    board.forget();
}

/** A board without keys and panel; it still has a reader for cards. */
void prepare_without_input(virtual_terminal& board)
{
    board.remove("/sys/class/input");
    prepare(board);
}

/** What start-up prints when there is neither panel nor key, with the lines of what comes between them. */
std::string printed_without_input(const std::string& route, const std::string& between)
{
    return "usb route " + route +
           "\n"
           "can't dev kt_touch\n"
           "kt_evdev_probe dev_index=0 ret=-1\n" +
           between +
           "can't dev gpio_keys\n"
           "kt_evdev_probe dev_index=0 ret=-1\n"
           "kt_evdev_get_node error ret = -1 \n"
           "can't dev Kestrel Keyboard\n"
           "kt_evdev_probe dev_index=0 ret=-1\n";
}

const std::string battery_line = "kt_supplypower_init kt_bat\n";

/** The steps that reach the board, in order: up to the panel, */
const lines first_steps = {
    "open O_RDONLY /sys/class/kt_misc/sysinfo/ubootver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/kernelver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/rootfsver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/hardwarever",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/wifimodule",
    "open O_RDWR /sys/class/kt_misc/ioctl/usb_route",
    "shell echo 5  > /proc/sys/vm/dirty_background_ratio",
    "write /proc/sys/vm/dirty_background_ratio 5\n",
    "shell echo 10 >  /proc/sys/vm/dirty_ratio",
    "write /proc/sys/vm/dirty_ratio 10\n",
    "shell echo 0 > /proc/sys/kernel/hung_task_timeout_secs",
    "write /proc/sys/kernel/hung_task_timeout_secs 0\n",
};
/** the panel, */
const lines panel_steps = {
    "open O_RDONLY /sys/class/input/event0/device/name",
    "open O_RDONLY /sys/class/input/event1/device/name",
    "open O_RDONLY /sys/class/input/event2/device/name",
    "open O_RDONLY /sys/class/input/event2/device/id/bustype",
    "open O_RDONLY /dev/input/event2",
};
/** the reader for cards, */
const lines card_reader_steps = {"open O_RDWR /dev/kt_nfc"};
/** the keys, each for two readers, */
const lines key_steps = {
    "open O_RDONLY /sys/class/input/event0/device/name",
    "open O_RDONLY /dev/input/event0",
    "open O_RDONLY /dev/input/event0",
    "open O_RDONLY /sys/class/input/event0/device/name",
    "open O_RDONLY /sys/class/input/event1/device/name",
    "open O_RDONLY /dev/input/event1",
    "open O_RDONLY /dev/input/event1",
};
/** and the battery, for the seed. */
const lines seed_steps = {
    "open O_RDONLY " KT_SUPPLY_DIR "status",      "open O_RDONLY " KT_SUPPLY_DIR "capacity",
    "open O_RDONLY " KT_SUPPLY_DIR "voltage_now", "open O_RDONLY " KT_SUPPLY_DIR "capacity_level",
    "open O_RDONLY " KT_SUPPLY_DIR "status",
};

const lines all_steps = joined({first_steps, panel_steps, card_reader_steps, key_steps, seed_steps});
const lines steps_without_input = joined({first_steps, card_reader_steps, seed_steps});

/** The steps that the board saw; what a shell opens for its redirects is left out. */
lines steps_seen(virtual_terminal& board)
{
    lines seen = told(board, {"open", "shell", "write", "program", "syslog"});
    std::erase_if(seen, [](const std::string& line) {
        return line.starts_with("open ") && line.find(" /proc/sys/") != std::string::npos;
    });
    return seen;
}

void (*handler_of(int number))(int)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

/** What SIGPIPE does at the moment in which the library opens the reader for cards. */
class signal_at_the_card_reader : public call_watcher {
public:
    void (*handler)(int) = SIG_ERR;

private:
    int begins(const c_call& call) override
    {
        if (call.name == "open" && call.path == std::string_view("/dev/kt_nfc"))
            handler = handler_of(SIGPIPE);
        return 0;
    }
};

/** The first opening of the keys makes descriptor 0 non-blocking. */
class DriverlibInit : public testing::Test {
    own_standard_input input_;
};

} // namespace

TEST_F(DriverlibInit, RunsItsStepsInOrder)
{
    virtual_terminal board;
    prepare(board);
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }),
              "usb route 1\n"
              "find /sys/class/input/event2/device/name, dev kt_touch\n"
              "kt_evdev_probe dev_index=2 ret=2\n"
              "sys_node_name=/sys/class/input/event2/device/id/ ts_type=18\n"
              "kt_supplypower_init kt_bat\n"
              "find /sys/class/input/event0/device/name, dev gpio_keys\n"
              "kt_evdev_probe dev_index=0 ret=0\n"
              "find /sys/class/input/event1/device/name, dev Kestrel Keyboard\n"
              "kt_evdev_probe dev_index=1 ret=1\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), all_steps);
}

TEST_F(DriverlibInit, ABoardWithoutPanelAndKeysStartsAllTheSame)
{
    virtual_terminal board;
    prepare_without_input(board);
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }), printed_without_input("1", battery_line));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), steps_without_input);
}

TEST_F(DriverlibInit, ABoardWithoutAReaderSaysSoAndGoesOn)
{
    virtual_terminal board;
    board.remove("/dev/kt_nfc");
    prepare_without_input(board);
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }),
              printed_without_input("1", battery_line + "nfc dev open error\n"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), joined({first_steps, seed_steps}));
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
}

TEST_F(DriverlibInit, TheBoardIsKnownAfterwards)
{
    virtual_terminal board;
    prepare(board);
    printed([] { kt_driverlib_init(); });
    EXPECT_EQ(kt_hardware_ver(), 90);
    EXPECT_EQ(kt_wifimodule_ver(), 2);
    EXPECT_STREQ(kt_hal_ver(), "K2");
    EXPECT_STREQ(kt_fatfs_ver(), "R3");
    EXPECT_EQ(kt_get_device_type(), 92);
    EXPECT_EQ(kt_usb_mode(1), 1); // the route that was read
    EXPECT_EQ(kt_power_ac_online(), 0);
    kt_battery_attr battery = {};
    EXPECT_EQ(kt_power_battery_attr(&battery), 0);
    EXPECT_EQ(battery.capacity, 57);
    (void)board.reader(R"({"script":[{"request":1,"result":4}]})");
    EXPECT_EQ(kt_rfid_tcl_open(), 4);
}

TEST_F(DriverlibInit, ASecondCallRepeatsEveryStep)
{
    virtual_terminal board;
    prepare(board);
    printed([] { kt_driverlib_init(); });
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "300\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "0\n"});
    signal(SIGPIPE, SIG_DFL);
    const std::set<int> before = open_descriptors();
    board.forget();

    int result = -1;
    const std::string text = printed([&] { result = kt_driverlib_init(); });
    EXPECT_TRUE(text.starts_with("usb route 0\nfind /sys/class/input/event2/device/name, dev kt_touch\n")) << text;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), all_steps);
    EXPECT_EQ(kt_hardware_ver(), 300);
    EXPECT_EQ(kt_usb_mode(0), 0);
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(DriverlibInit, AClosedPipeIsAnErrorAndNoEnd)
{
    signal(SIGPIPE, SIG_DFL);
    printed([] { kt_driverlib_init(); });
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[1]);
}

TEST_F(DriverlibInit, TheSignalIsSetWhenTheCardReaderIsOpen)
{
    signal(SIGPIPE, SIG_DFL);
    void (*then)(int) = SIG_ERR;
    printed([&] {
        const signal_at_the_card_reader watched;
        kt_driverlib_init();
        then = watched.handler;
    });
    EXPECT_EQ(then, SIG_DFL);
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
}

TEST_F(DriverlibInit, ThePartsOfStartUpLeaveTheSignalAlone)
{
    signal(SIGPIPE, SIG_DFL);
    printed([] {
        kt_base_init();
        kt_misc_init();
        kt_srand_init();
    });
    EXPECT_EQ(handler_of(SIGPIPE), SIG_DFL);
}

TEST_F(DriverlibInit, ABareBoardStartsAllTheSame)
{
    virtual_terminal board;
    for (const char* part : {"/sys/class/kt_misc", "/sys/class/input", "/sys/class/power_supply", "/dev/kt_nfc"})
        board.remove(part);
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }),
              printed_without_input("-1", "kt_supplypower_init kt_bat\n"
                                          "kt_power_supply_open error No such file or directory\n"
                                          "nfc dev open error\n"));
    EXPECT_EQ(result, 0);

    const std::string end = " No such file or directory\n";
    EXPECT_EQ(told(board, {"syslog", "shell"}),
              (lines{
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/ubootver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/kernelver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/rootfsver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/hardwarever" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/wifimodule" + end,
                  "syslog 3 kt_sys_attr_get_int stat /sys/class/kt_misc/ioctl/usb_route" + end,
                  "shell echo 5  > /proc/sys/vm/dirty_background_ratio",
                  "shell echo 10 >  /proc/sys/vm/dirty_ratio",
                  "shell echo 0 > /proc/sys/kernel/hung_task_timeout_secs",
              }));
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
}

TEST_F(DriverlibInit, ItsLinesComeOutBetweenWhatTheCallerPrints)
{
    virtual_terminal board;
    prepare_without_input(board);
    EXPECT_EQ(printed([] {
                  std::fputs("before\n", stdout);
                  kt_driverlib_init();
                  std::fputs("after\n", stdout);
              }),
              "before\n" + printed_without_input("1", battery_line) + "after\n");
}
