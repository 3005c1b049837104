/** The older names: their translations, and that the rest is the port table's. */
#include "tests/serial/line_requests.h"
#include "tests/serial/ports.h"
#include "tests/support/journal_lines.h"

#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::line_framing;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* closed_line = "this serial don't init\n";

} // namespace

TEST(Uart, OpenTranslatesStopBitsAndParity)
{
    virtual_terminal board;
    const struct {
        int databits, stopbits, parity;
        unsigned stop_bits;
        char letter;
    } rows[] = {
        {8, 1, 0, 1, 'N'},    {8, 1, 1, 1, 'O'},    {8, 1, 2, 1, 'E'},    {8, 2, 0, 2, 'N'},
        {8, 2, 1, 2, 'O'},    {8, 2, 2, 2, 'E'},    {7, 1, 2, 1, 'E'}, // the data bits are always 8
        {4096, 1, 0, 1, 'N'}, {-1, 1, 0, 1, 'N'},   {8, 0, 0, 1, 'N'}, // the port table's own values
        {8, 8192, 0, 2, 'N'}, {8, 1, 1024, 1, 'E'}, {8, 1, 1536, 1, 'O'}, {0, 8192, 1536, 2, 'O'},
    };
    for (const auto& [databits, stopbits, parity, stop_bits, letter] : rows) {
        EXPECT_EQ(outcome_of([&] { return UartOpen(26, 115200, databits, stopbits, parity); }),
                  (outcome{0, 0, open_line(26)}));
        EXPECT_EQ(board.line(processor_node).near,
                  (line_framing{.speed = 115200, .data_bits = 8, .parity = letter, .stop_bits = stop_bits}))
            << databits << ' ' << stopbits << ' ' << parity;
    }
}

TEST(Uart, OpenPassesOtherValuesOnToBeRefused)
{
    virtual_terminal board;
    board.forget();
    const struct {
        int stopbits, parity;
    } rows[] = {{3, 0}, {-1, 0}, {4096, 0}, {1, 3}, {1, 4}, {1, -1}, {1, 512}};
    for (const auto& [stopbits, parity] : rows) {
        EXPECT_EQ(outcome_of([&] { return UartOpen(26, 115200, 8, stopbits, parity); }),
                  failed(EINVAL, open_line(26) + "params error\n"));
    }
    EXPECT_EQ(opens_of(board, processor_node), 0);
}

TEST(Uart, OpenPassesPortAndRateOn)
{
    virtual_terminal board;
    EXPECT_EQ(outcome_of([] { return UartOpen(99, 115200, 8, 1, 0); }),
              failed(EINVAL, open_line(99) + "kt_uart_open error no this com\n"));
    EXPECT_EQ(outcome_of([] { return UartOpen(26, 115201, 8, 1, 0); }), failed(EINVAL, open_line(26)));
    EXPECT_EQ(outcome_of([] { return UartOpen(27, 4800, 8, 1, 0); }).result, 0);
    EXPECT_EQ(board.line("/dev/ttyS4").near.speed, 4800u);
}

TEST(Uart, BytesGoThroughThePort)
{
    virtual_terminal board;
    ASSERT_EQ(outcome_of([] { return UartOpen(26, 115200, 8, 1, 0); }).result, 0);
    EXPECT_EQ(outcome_of([] { return UartSend(26, "AT\r\n", 4); }), (outcome{4, 0, ""}));
    EXPECT_TRUE(board.expect(processor_node, "AT\r\n"));

    char room[8] = "#######";
    board.send(processor_node, "OK\r\n");
    EXPECT_EQ(outcome_of([&] { return UartRecv(26, room, 2, 1000); }), (outcome{2, 0, ""}));
    EXPECT_STREQ(room, "OK#####");
    EXPECT_EQ(UartGetRXBufCount(26), 2);
    EXPECT_EQ(outcome_of([] { return UartClear(26); }), (outcome{0, 0, ""}));
    EXPECT_EQ(UartGetRXBufCount(26), 0);
    EXPECT_EQ(outcome_of([&] { return UartRecv(26, room, 2, 0); }), failed(ETIME, ""));
    EXPECT_EQ(outcome_of([&] { return UartRecv(26, room, 2, -1); }), failed(EINVAL, ""));

    board.hold(processor_node, true);
    EXPECT_EQ(UartSend(26, "abc", 3), 3);
    EXPECT_EQ(UartGetTXBufCount(26), 3);
    EXPECT_EQ(UartGetRXBufCount(26), 0);
    EXPECT_EQ(UartClear(26), 0);
    EXPECT_EQ(UartGetTXBufCount(26), 3);

    EXPECT_EQ(outcome_of([] { return UartClose(26); }), (outcome{0, 0, close_line(26)}));
}

TEST(Uart, AClosedPortCountsNothing)
{
    EXPECT_EQ(outcome_of([] { return UartGetRXBufCount(26); }).result, 0);
    EXPECT_EQ(outcome_of([] { return UartGetRXBufCount(26); }).text, closed_line);
    EXPECT_EQ(outcome_of([] { return UartGetTXBufCount(26); }).result, 0);
    EXPECT_EQ(outcome_of([] { return UartGetTXBufCount(26); }).text, closed_line);
    EXPECT_EQ(outcome_of([] { return UartGetRXBufCount(99); }).result, 0);
    EXPECT_EQ(outcome_of([] { return UartGetRXBufCount(99); }).text, "");

    char room[4];
    EXPECT_EQ(outcome_of([] { return UartSend(26, "abc", 3); }), failed(EBADF, closed_line));
    EXPECT_EQ(outcome_of([&] { return UartRecv(26, room, 4, 0); }), failed(EBADF, closed_line));
    EXPECT_EQ(outcome_of([] { return UartClear(26); }), failed(EBADF, closed_line));
    EXPECT_EQ(outcome_of([] { return UartClose(26); }), failed(EBADF, close_line(26) + closed_line));
    EXPECT_EQ(outcome_of([] { return UartClose(99); }), failed(EINVAL, close_line(99)));
}

TEST(Uart, WhatHasNoEffectHasNone)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(outcome_of([] { return UartInit(); }), (outcome{0, 0, ""}));
    EXPECT_EQ(outcome_of([] { return kt_appport_setfifo(nullptr, 1); }), (outcome{0, 0, ""}));
    EXPECT_EQ(outcome_of([] { return kt_appport_put_bytes("abc", 3); }), (outcome{0, 0, ""}));
    EXPECT_EQ(printed([] { kt_appport_writecb(nullptr); }), "");
    EXPECT_EQ(doings(board), lines{});
}
