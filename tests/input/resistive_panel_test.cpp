/** Samples of a resistive panel: reports, what is remembered, and the sampling that must be started. */
#include "tests/input/touch_panel.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <climits>

using namespace kt::tests;

using ResistivePanel = touch_panel;
using lines = std::vector<std::string>;

TEST_F(ResistivePanel, AReportIsPositionAndPressure)
{
    start_resistive();
    happens({x_of(100), y_of(200), pressure_of(300), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 300, marked}));
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(ResistivePanel, ACoordinateThatTheReportLacksIsTheLastOne)
{
    start_resistive();
    happens({x_of(100), y_of(200), pressure_of(300), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 300, marked}));
    happens({y_of(210), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 210, 300, marked}));
    happens({x_of(110), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 110, 210, 300, marked}));
    happens({pressure_of(0), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 110, 210, 0, marked}));
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 110, 210, 0, marked}));
    happens({x_of(0), y_of(-5), report_end}); // 0 counts as none, a negative one as one
    EXPECT_EQ(read_touch(), (touched{16, 110, -5, 0, marked}));
    happens({y_of(0), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 110, -5, 0, marked}));
}

TEST_F(ResistivePanel, AReportEndAloneGivesASample)
{
    start_resistive();
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, marked}));
}

TEST_F(ResistivePanel, TheCallersCoordinatesAreTakenForTheReports)
{
    start_resistive();
    happens({x_of(100), y_of(200), report_end, report_end, y_of(9), report_end, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 0, marked}));
    EXPECT_EQ(read_touch(7, 8), (touched{16, 7, 8, 0, marked}));
    EXPECT_EQ(read_touch(6, 5), (touched{16, 6, 9, 0, marked}));
    EXPECT_EQ(read_touch(), (touched{16, 6, 9, 0, marked})); // and remembered
}

TEST_F(ResistivePanel, TheLastOfSeveralValuesCounts)
{
    start_resistive();
    happens({x_of(1), x_of(2), y_of(3), y_of(4), pressure_of(5), pressure_of(6), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 2, 4, 6, marked}));
    happens({x_of(INT_MAX), y_of(INT_MIN), pressure_of(-1), report_end});
    EXPECT_EQ(read_touch(), (touched{16, INT_MAX, INT_MIN, -1, marked}));
}

TEST_F(ResistivePanel, AReportEndCountsWhateverItsValue)
{
    start_resistive();
    for (const int value : {0, 1, -1, INT_MIN}) {
        happens({x_of(value == 0 ? 50 : value), {0, 0, value}});
        EXPECT_EQ(read_touch(), (touched{16, value == 0 ? 50 : value, 0, 0, marked}));
        EXPECT_EQ(read_touch(), no_touch);
    }
}

TEST_F(ResistivePanel, OtherEventsAreIgnored)
{
    start_resistive();
    happens({x_of(100), y_of(200), pressure_of(300)});
    happens({{0, 1, 0}, {0, 2, 0}, {0, 3, 0}, {0, 256, 0}}); // other ends, and events that were lost
    happens({{3, 2, 1}, {3, 25, 1}, {3, 53, 1}, {3, 54, 1}, {3, 256, 1}, {3, 257, 1}, {3, 280, 1}});
    happens(
        {{1, 0, 1}, {1, 1, 1}, {1, 24, 1}, {1, 330, 1}, {2, 0, 1}, {2, 1, 1}, {4, 24, 1}, {256, 0, 0}, {259, 0, 1}});
    EXPECT_EQ(read_touch().result, 0);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 300, marked})); // the partial report was in the other call's sample
}

TEST_F(ResistivePanel, APartialReportStaysInTheCallersSample)
{
    start_resistive();
    happens({x_of(100), pressure_of(300)});
    kt_ts_sample sample = {0, 0, marked, marked};
    EXPECT_EQ(read_touch(sample), (touched{0, 100, 0, marked, marked}));
    happens({y_of(200), report_end});
    EXPECT_EQ(read_touch(sample), (touched{16, 100, 200, 300, marked}));

    happens({x_of(101)});
    EXPECT_EQ(read_touch().result, 0); // and its x is gone with the sample
    happens({y_of(201), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 201, 300, marked}));
}

TEST_F(ResistivePanel, AFlushForgetsThePositionAndKeepsThePressure)
{
    start_resistive();
    happens({x_of(100), y_of(200), pressure_of(300), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 300, marked}));
    happens({x_of(1), pressure_of(2), report_end, y_of(3)});
    EXPECT_EQ(kt_ts_flush(), 0);
    EXPECT_EQ(read_touch(), no_touch);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 300, marked}));
}

TEST_F(ResistivePanel, AnotherStartForgetsThePositionAndKeepsThePressure)
{
    start_resistive();
    happens({x_of(100), y_of(200), pressure_of(300), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 300, marked}));
    start_resistive();
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 300, marked}));

    happens({x_of(100), y_of(200), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 300, marked}));
    board.fail(panel, {.on = "open", .error = EIO, .times = 1});
    EXPECT_EQ(start_panel().result, -1);
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(ResistivePanel, SamplingIsStartedWheneverItIsOff)
{
    start_resistive();
    const lines query = {"open O_RDWR " + touch_start};
    const lines query_and_start = {"open O_RDWR " + touch_start, "open O_RDWR " + touch_start,
                                   "write " + touch_start + " 0x1"};
    const struct {
        const char* text;
        const lines& done;
    } rows[] = {
        {"0\n", query_and_start},
        {"1\n", query},
        {"2\n", query},
        {"-1\n", query},
        {"0\n", query_and_start},
        {"\n", query_and_start},
        {"off\n", query_and_start},
        {"10\n", query},
    };
    for (const auto& row : rows) {
        board.attribute(touch_start, {.text = row.text});
        board.forget();
        EXPECT_EQ(read_touch(), no_touch);
        EXPECT_EQ(doings(board), row.done) << row.text;
    }
    board.attribute(touch_start, {.text = "0\n", .kind = "integer"});
    board.forget();
    for (int times = 0; times < 3; ++times) // checked at each call, switched on once
        EXPECT_EQ(read_touch(), no_touch);
    EXPECT_EQ(board.writes(touch_start), lines{"0x1"});
    EXPECT_EQ(opens_of(board, touch_start), 4);
}

TEST_F(ResistivePanel, SamplingIsStartedThoughThePanelCouldNotBeOpened)
{
    start_capacitive();
    has_bus("0019\n");
    board.fail(panel, {.on = "open", .error = EIO});
    EXPECT_EQ(start_panel().result, -1);
    board.attribute(touch_start, {.text = "0\n", .kind = "integer"});
    board.forget();
    EXPECT_EQ(read_touch(), no_touch);
    EXPECT_EQ(board.writes(touch_start), lines{"0x1"});
}

TEST_F(ResistivePanel, SamplingComesBeforeTheEvents)
{
    start_resistive();
    board.attribute(touch_start, {.text = "0\n", .kind = "integer"});
    happens({x_of(1), report_end});
    board.forget();
    EXPECT_EQ(read_touch(), (touched{16, 1, 0, 0, marked}));
    lines order;
    for (const auto& each : board.events_of({"read", "write"}))
        order.push_back(each.kind + ' ' + each.path);
    EXPECT_EQ(order, (lines{"read " + touch_start, "write " + touch_start, "read /dev/input/event2",
                            "read /dev/input/event2"}));
}

TEST_F(ResistivePanel, ASwitchThatCannotBeReadIsNotSwitched)
{
    start_resistive();
    board.attribute(touch_start, {.text = "0\n"});
    board.fail(touch_start, {.on = "read", .error = EIO});
    happens({x_of(1), y_of(2), report_end});
    board.forget();
    EXPECT_EQ(read_touch(), (touched{16, 1, 2, 0, marked}));
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int can't read " + touch_start + " Input/output error\n");
    EXPECT_EQ(board.writes(touch_start), lines{});
}

TEST_F(ResistivePanel, ASwitchThatCannotBeWrittenDoesNotStopTheReading)
{
    start_resistive();
    board.attribute(touch_start, {.text = "0\n"});
    board.fail(touch_start, {.on = "write", .error = EIO});
    happens({x_of(1), y_of(2), report_end});
    board.forget();
    EXPECT_EQ(read_touch(), (touched{16, 1, 2, 0, marked}));
    EXPECT_EQ(board.syslog(), "kt_sys_attr_set_int can't write 0x1 to " + touch_start + " Input/output error\n");
}

TEST_F(ResistivePanel, AFingerIsSeenOnceSamplingRuns)
{
    remove_devices(board);
    add_device(board, 0, "kt_touch", 0x19);
    board.attribute(touch_start, {.text = "0\n", .kind = "integer"});
    start_panel();
    EXPECT_EQ(read_touch(), no_touch); // starts the sampling
    board.tap(1000, 2000);
    const touched first = read_touch();
    EXPECT_EQ(first.result, 16);
    EXPECT_EQ(first.x, 1000);
    EXPECT_EQ(first.y, 2000);
    EXPECT_GT(first.pressure, 0);
    EXPECT_EQ(read_touch(), (touched{16, 1000, 2000, 0, marked}));
    EXPECT_EQ(read_touch(), no_touch);
}
