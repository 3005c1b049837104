/** Samples of a capacitive panel: touches, lifts, and what is remembered. */
#include "tests/input/touch_panel.h"
#include "tests/support/journal_lines.h"

#include <climits>

using namespace kt::tests;

using CapacitivePanel = touch_panel;
using lines = std::vector<std::string>;

TEST_F(CapacitivePanel, ATouchIsAPositionWithFullPressureAndALiftIsZero)
{
    start_capacitive();
    happens({down, multi_x(100), multi_y(200), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    happens({lift, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(CapacitivePanel, PositionsWithoutAButtonAreALift)
{
    start_capacitive();
    happens({multi_x(100), multi_y(200), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    happens({down, report_end}); // but they are remembered
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    happens({lift, multi_x(101), report_end, multi_y(201), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    happens({down, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 101, 201, 4096, 0}));
}

TEST_F(CapacitivePanel, WhatTheReportLacksIsTheLastOne)
{
    start_capacitive();
    happens(
        {down, multi_x(100), multi_y(200), report_end, multi_y(210), report_end, multi_x(0), report_end, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    EXPECT_EQ(read_touch(), (touched{16, 100, 210, 4096, 0}));
    EXPECT_EQ(read_touch(), (touched{16, 0, 210, 4096, 0})); // 0 is a position here
    EXPECT_EQ(read_touch(), (touched{16, 0, 210, 4096, 0}));
}

TEST_F(CapacitivePanel, AReportEndAloneGivesASample)
{
    start_capacitive();
    happens({report_end});
    EXPECT_EQ(read_touch(7, 8), (touched{16, 0, 0, 0, 0})); // the caller's position is no input
    happens({down, report_end});
    EXPECT_EQ(read_touch(7, 8), (touched{16, 0, 0, 4096, 0}));
}

TEST_F(CapacitivePanel, OnlyDownAndLiftChangeTheButton)
{
    start_capacitive();
    happens({multi_x(1), multi_y(2)});
    for (const int value : {2, -1, 256, 257, INT_MIN})
        happens({{1, 330, value}});
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    happens({down});
    for (const int value : {2, -1, 256, 65536, INT_MIN})
        happens({{1, 330, value}});
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 1, 2, 4096, 0}));
}

TEST_F(CapacitivePanel, AReportEndCountsWithValue0Only)
{
    start_capacitive();
    happens({down, multi_x(1), {0, 0, 1}, {0, 0, -1}, {0, 0, 65536}, {0, 1, 0}, {0, 2, 0}, {0, 3, 0}, {0, 256, 0}});
    EXPECT_EQ(read_touch(), no_touch);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 1, 0, 4096, 0}));
}

TEST_F(CapacitivePanel, OtherEventsAreIgnored)
{
    start_capacitive();
    happens({down, multi_x(100), multi_y(200)});
    happens({x_of(1), y_of(2), pressure_of(3), {3, 47, 1}, {3, 52, 1}, {3, 55, 1}, {3, 57, -1}, {3, 58, 9}});
    happens({{3, 256 + 53, 1}, {3, 256 + 54, 1}, {1, 53, 1}, {1, 54, 1}, {2, 53, 1}, {259, 53, 1}, {3, 330, 0}});
    happens({{1, 329, 0}, {1, 331, 0}, {1, 74, 0}, {257, 330, 0}, {0, 330, 0}, {256, 0, 0}});
    EXPECT_EQ(read_touch(), no_touch);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
}

TEST_F(CapacitivePanel, APartialReportIsRememberedFromCallToCall)
{
    start_capacitive();
    happens({down});
    EXPECT_EQ(read_touch(), no_touch);
    happens({multi_x(100)});
    EXPECT_EQ(read_touch(), no_touch);
    happens({multi_y(200)});
    EXPECT_EQ(read_touch(), no_touch);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
}

TEST_F(CapacitivePanel, AFlushForgetsPositionAndButton)
{
    start_capacitive();
    happens({down, multi_x(100), multi_y(200), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    happens({multi_x(101), report_end, multi_x(102)});
    EXPECT_EQ(kt_ts_flush(), 0);
    EXPECT_EQ(read_touch(), no_touch);
    happens({report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    happens({down, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 4096, 0}));
}

TEST_F(CapacitivePanel, AnotherStartForgetsPositionAndButton)
{
    start_capacitive();
    happens({down, multi_x(100), multi_y(200), report_end, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    start_capacitive();
    EXPECT_EQ(read_touch(), no_touch); // the other report went with the descriptor
    happens({report_end, down, report_end});
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 4096, 0}));
}

TEST_F(CapacitivePanel, NothingIsStarted)
{
    start_capacitive();
    board.attribute(touch_start, {.text = "0\n"});
    board.forget();
    EXPECT_EQ(read_touch(), no_touch);
    EXPECT_EQ(doings(board), lines{});
}

TEST_F(CapacitivePanel, LostEventsAreNotASample)
{
    start_capacitive();
    raw_events too_many(200, multi_x(7)); // the queue holds fewer: it drops them and says so
    happens(too_many);
    happens({down, multi_y(8), report_end});
    EXPECT_EQ(read_touch(), (touched{16, 7, 8, 4096, 0}));
    EXPECT_EQ(read_touch(), no_touch);
}

TEST_F(CapacitivePanel, AFingerMovesAndLifts)
{
    start_capacitive();
    board.tap(100, 200);
    EXPECT_EQ(read_touch(), (touched{16, 100, 200, 4096, 0}));
    EXPECT_EQ(read_touch(), (touched{16, 0, 0, 0, 0}));
    board.drag(10, 20, 110, 220);
    EXPECT_EQ(read_touch(), (touched{16, 10, 20, 4096, 0}));
    touched last, before_last;
    for (touched each = read_touch(); each.result != 0; each = read_touch()) {
        before_last = last;
        last = each;
    }
    EXPECT_EQ(before_last, (touched{16, 110, 220, 4096, 0}));
    EXPECT_EQ(last, (touched{16, 0, 0, 0, 0}));
}
