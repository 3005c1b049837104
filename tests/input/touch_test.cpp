/** Opening the touch panel, and what holds for both kinds of it. */
#include "tests/input/node_calls.h"
#include "tests/input/touch_panel.h"
#include "tests/support/descriptors.h"
#include "tests/support/failing_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <unistd.h>

using namespace kt::tests;

using Touch = touch_panel;
using lines = std::vector<std::string>;

namespace {

const std::string panel_failed = "open /dev/input/event2 device error!\n";

} // namespace

TEST_F(Touch, IsFoundOpenedAndMadeNonBlocking)
{
    has_bus("0018\n");
    board.forget();
    EXPECT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("18")}));
    EXPECT_EQ(doings(board), (lines{
                                 "open O_RDONLY /sys/class/input/event0/device/name",
                                 "open O_RDONLY /sys/class/input/event1/device/name",
                                 "open O_RDONLY /sys/class/input/event2/device/name",
                                 "open O_RDONLY " + panel_bus,
                                 "open O_RDONLY /dev/input/event2",
                             }));
    const std::vector<int> opened = descriptors_of(panel);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_FALSE(blocks(opened[0]));
    EXPECT_TRUE(blocks(STDIN_FILENO));
}

TEST_F(Touch, TheBusTypeIsReadAsADecimalNumber)
{
    const struct {
        const char* text;
        const char* shown;
        bool resistive;
    } rows[] = {
        {"0019\n", "19", true}, {"19\n", "19", true},    {"0018\n", "18", false}, {"0013\n", "13", false},
        {"0\n", "0", false},    {"0x13\n", "0", false},  {"0003\n", "3", false},  {"1900\n", "1900", false},
        {"\n", "0", false},     {"-19\n", "-19", false}, {"001c\n", "1", false},
    };
    for (const auto& row : rows) {
        has_bus(row.text);
        EXPECT_EQ(start_panel(), (start_outcome{0, found_panel + type_line(row.shown)})) << row.text;
        happens({x_of(5), multi_x(7), y_of(6), multi_y(8), down, report_end});
        EXPECT_EQ(read_touch(), row.resistive ? (touched{16, 5, 6, 0, marked}) : (touched{16, 7, 8, 4096, 0}))
            << row.text;
    }
}

TEST_F(Touch, WithoutAPanelThereIsNothingToOpen)
{
    board.remove(panel);
    const std::set<int> before = open_descriptors();
    board.forget();
    EXPECT_EQ(start_panel(), (start_outcome{-1, "can't dev kt_touch\nkt_evdev_probe dev_index=2 ret=-1\n"}));
    EXPECT_EQ(doings(board), (lines{"open O_RDONLY /sys/class/input/event0/device/name",
                                    "open O_RDONLY /sys/class/input/event1/device/name"}));
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(Touch, APanelAtAnotherIndex)
{
    remove_devices(board);
    for (int index = 0; index < 10; ++index)
        add_device(board, index, "something");
    add_device(board, 10, "the kt_touch 2", 0x18);
    EXPECT_EQ(start_panel(), (start_outcome{0, "find /sys/class/input/event10/device/name, dev kt_touch\n"
                                               "kt_evdev_probe dev_index=10 ret=10\n"
                                               "sys_node_name=/sys/class/input/event10/device/id/ ts_type=18\n"}));
    board.input(node_of(10), {down, multi_x(1), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 1, 0, 4096, 0}));
}

TEST_F(Touch, ABusTypeThatCannotBeReadIsCapacitive)
{
    const struct {
        const char* failing;
        std::string step;
    } rows[] = {{"lookup", "stat "}, {"open", "can't open "}, {"read", "can't read "}};
    for (const auto& row : rows) {
        const int rule = board.fail(panel_bus, {.on = row.failing, .error = EIO});
        board.forget();
        EXPECT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("-1")})) << row.failing;
        EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int " + row.step + panel_bus + " Input/output error\n");
        board.mend(rule);
        happens({down, multi_x(7), multi_y(8), report_end});
        EXPECT_EQ(read_touch(), (touched{16, 7, 8, 4096, 0})) << row.failing;
    }
}

TEST_F(Touch, ANodeThatCannotBeOpened)
{
    has_bus("0018\n");
    for (const int cause : {EACCES, ENODEV}) {
        board.fail(panel, {.on = "open", .error = cause});
        errno = 0;
        EXPECT_EQ(start_panel(), (start_outcome{-1, found_panel + type_line("18") + panel_failed}));
        EXPECT_EQ(errno, cause);
        EXPECT_EQ(descriptors_of(panel).size(), 0u);
        EXPECT_EQ(read_touch(), no_touch);
        EXPECT_EQ(kt_ts_flush(), 0);
        board.mend_all();
    }
    EXPECT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("18")}));
}

TEST_F(Touch, TheCauseOutlivesPrintsThatFail)
{
    board.fail(panel, {.on = "open", .error = EACCES});
    int cause = 0;
    {
        const failing_stdout now;
        kt_ts_init();
        cause = errno;
    }
    EXPECT_EQ(cause, EACCES);
}

TEST_F(Touch, AnotherStartClosesTheOldDescriptorFirst)
{
    start_capacitive();
    const std::vector<int> opened = descriptors_of(panel);
    ASSERT_EQ(opened.size(), 1u);
    const std::string fd = std::to_string(opened[0]);
    const std::set<int> before = open_descriptors();
    for (int times = 0; times < 3; ++times) {
        node_calls library;
        start_panel();
        EXPECT_EQ(library.take(), (lines{"close " + fd, "open /dev/input/event2 = " + fd, "non-blocking " + fd}));
        EXPECT_EQ(open_descriptors(), before);
    }
    board.fail(panel, {.on = "open", .error = EIO});
    node_calls library;
    EXPECT_EQ(start_panel().result, -1);
    EXPECT_EQ(library.take(), (lines{"close " + fd, "open /dev/input/event2 = -1"}));
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(Touch, AnotherStartThatFindsNoPanelLeavesTheOldOneOpen)
{
    start_capacitive();
    board.remove("/sys/class/input/event2");
    EXPECT_EQ(start_panel(), (start_outcome{-1, "can't dev kt_touch\nkt_evdev_probe dev_index=2 ret=-1\n"}));
    happens({down, multi_x(7), multi_y(8), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 7, 8, 4096, 0}));
}

TEST_F(Touch, Descriptor0CountsAsFailureAndStaysOpen)
{
    has_bus("0018\n");
    const std::string text = printed([] {
        close(STDIN_FILENO);
        EXPECT_EQ(kt_ts_init(), -1);
    });
    EXPECT_EQ(text, found_panel + type_line("18") + panel_failed);
    EXPECT_EQ(descriptor_target(STDIN_FILENO), panel);
    EXPECT_TRUE(blocks(STDIN_FILENO));
    EXPECT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("18")}));
    EXPECT_EQ(descriptor_target(STDIN_FILENO), panel);
    EXPECT_EQ(descriptors_of(panel).size(), 2u);
}

TEST_F(Touch, BeforeTheStartNothingIsReadAndNothingStarted)
{
    input.send(record_of(down) + record_of(report_end));
    board.forget();
    EXPECT_EQ(read_touch(), no_touch);
    EXPECT_EQ(kt_ts_flush(), 0);
    EXPECT_EQ(input.left(), record_of(down) + record_of(report_end));
    EXPECT_EQ(doings(board), lines{});
}

TEST_F(Touch, WithoutRoomForTheSampleNothingIsTouched)
{
    start_resistive();
    happens({x_of(5), y_of(6), report_end});
    board.forget();
    errno = 0;
    EXPECT_EQ(kt_ts_read(nullptr), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(doings(board), lines{});
    EXPECT_EQ(read_touch(), (touched{16, 5, 6, 0, marked}));
    start_capacitive();
    happens({down, multi_x(5), report_end});
    errno = 0;
    EXPECT_EQ(kt_ts_read(nullptr), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(read_touch(), (touched{16, 5, 0, 4096, 0}));
}

TEST_F(Touch, APanelIsAlwaysReportedPresent)
{
    EXPECT_EQ(kt_ts_probe(), 1);
    remove_devices(board);
    board.forget();
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_ts_probe(), 1); }), "");
    EXPECT_EQ(told(board, {"open", "missing"}), lines{});
}

TEST_F(Touch, ReadingAndFlushingPrintNothing)
{
    for (const bool resistive : {true, false}) {
        resistive ? start_resistive() : start_capacitive();
        happens({down, x_of(1), multi_x(1), report_end});
        EXPECT_EQ(printed([] {
                      read_touch();
                      read_touch();
                      kt_ts_flush();
                  }),
                  "");
    }
}

TEST_F(Touch, AnInterruptedReadIsTriedAgain)
{
    for (const bool resistive : {true, false}) {
        resistive ? start_resistive() : start_capacitive();
        board.fail(panel, {.on = "read", .error = EINTR, .skip = 1, .times = 5});
        happens({down, x_of(1), multi_x(1), report_end});
        EXPECT_EQ(read_touch(), resistive ? (touched{16, 1, 0, 0, marked}) : (touched{16, 1, 0, 4096, 0}));
        board.mend_all();
    }
}

TEST_F(Touch, AFailedReadIsNoSample)
{
    for (const bool resistive : {true, false}) {
        resistive ? start_resistive() : start_capacitive();
        happens({down, x_of(1), multi_x(1), report_end});
        board.fail(panel, {.on = "read", .error = EIO, .times = 1});
        EXPECT_EQ(read_touch(), no_touch);
        EXPECT_EQ(read_touch(), resistive ? (touched{16, 1, 0, 0, marked}) : (touched{16, 1, 0, 4096, 0}));
    }
    board.remove(panel);
    EXPECT_EQ(read_touch(), no_touch);
    EXPECT_EQ(kt_ts_flush(), 0);
}

TEST_F(Touch, TheEndOfAFileIsTheEndOfReadingWhateverErrnoSays)
{
    board.remove(panel);
    for (const bool resistive : {true, false}) {
        add_file(board, 2, "kt_touch",
                 record_of(down) + record_of(resistive ? x_of(5) : multi_x(5)) +
                     record_of(report_end).substr(0, 9)); // the rest of the record is zero
        resistive ? start_resistive() : start_capacitive();
        EXPECT_EQ(read_touch(), resistive ? (touched{16, 5, 0, 0, marked}) : (touched{16, 5, 0, 4096, 0}));
        errno = EINTR;
        EXPECT_EQ(read_touch(), no_touch);
        errno = EINTR;
        EXPECT_EQ(kt_ts_flush(), 0);
        start_panel(); // from the file's start
        EXPECT_EQ(kt_ts_flush(), 0);
        EXPECT_EQ(read_touch(), no_touch);
    }
}
