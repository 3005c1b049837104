/** Reading keys: waiting, and what ends it; signals, failures, and records that come short. */
#include "tests/input/keys.h"
#include "tests/support/in_thread.h"

#include <cerrno>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;

using KeyReading = keys_on_board;

namespace {

constexpr auto shortly = 50ms; // what must not come is not waited for longer
constexpr auto long_enough = 20s;

} // namespace

TEST_F(KeyReading, TheApplicationWaitsForAButton)
{
    init();
    board.forget();
    in_thread<taken_key> waiting(get_key);
    ASSERT_TRUE(board.wait({.kind = "read", .path = keypad}, long_enough)) << "the keypad comes first";
    EXPECT_FALSE(waiting.ends_within(shortly));
    board.press("5"); // not looked at any more
    board.input(buttons, {{1, 115, 1}, {1, 116, 2}, {0, 0, 0}});
    EXPECT_FALSE(waiting.ends_within(shortly));
    board.press("power");
    ASSERT_TRUE(waiting.ends_within(long_enough));
    EXPECT_EQ(waiting.result(), pressed(116));
    EXPECT_EQ(get_key(), pressed(51));
}

TEST_F(KeyReading, ASignalDoesNotEndTheWaiting)
{
    let_signals_interrupt();
    init();
    board.forget();
    in_thread<taken_key> waiting(get_key);
    ASSERT_TRUE(board.wait({.kind = "read", .path = keypad}, long_enough));
    for (int met = 0; met < 3; ++met) {
        bool interrupted = false;
        for (const auto end = std::chrono::steady_clock::now() + long_enough;
             !interrupted && std::chrono::steady_clock::now() < end;) {
            waiting.interrupt();
            const std::optional<event> read = board.wait({.kind = "read", .path = buttons}, 10ms);
            interrupted = read && read->error == "EINTR";
        }
        EXPECT_TRUE(interrupted);
        board.forget();
    }
    EXPECT_FALSE(waiting.ends_within(shortly));
    board.press("power");
    ASSERT_TRUE(waiting.ends_within(long_enough));
    EXPECT_EQ(waiting.result(), pressed(116));
}

TEST_F(KeyReading, AnInterruptedReadIsTriedAgain)
{
    init();
    board.input(keypad, {{1, 28, 1}, {1, 28, 0}});
    board.input(buttons, {{1, 116, 1}, {1, 116, 0}});
    for (const auto& reader : readers) {
        for (const taken_key& key : {pressed(36), released(36), pressed(116), released(116)}) {
            board.fail("/dev/input/event[01]", {.on = "read", .error = EINTR, .times = 3});
            EXPECT_EQ(reader.next(), key) << reader.name;
            board.mend_all();
        }
    }
}

TEST_F(KeyReading, AKeypadThatFailsLeavesThePowerKey)
{
    init();
    board.fail(keypad, {.on = "read", .error = EIO});
    board.input(keypad, {{1, 28, 1}});
    board.input(buttons, {{1, 116, 1}});
    for (const auto& reader : readers) {
        EXPECT_EQ(reader.next(), pressed(116)) << reader.name;
    }
    board.fail(buttons, {.on = "read", .error = EIO});
    for (const auto& reader : readers)
        EXPECT_EQ(reader.next(), no_key) << reader.name;
}

TEST_F(KeyReading, AnUnpluggedKeypadLeavesThePowerKey)
{
    init();
    board.remove(keypad);
    board.input(buttons, {{1, 116, 0}});
    EXPECT_EQ(get_key(), released(116));
}

TEST_F(KeyReading, UnpluggedButtonsEndTheWaiting)
{
    init();
    board.forget();
    in_thread<taken_key> waiting(get_key);
    ASSERT_TRUE(board.wait({.kind = "read", .path = keypad}, long_enough));
    EXPECT_FALSE(waiting.ends_within(shortly));
    board.remove(buttons);
    ASSERT_TRUE(waiting.ends_within(long_enough));
    EXPECT_EQ(waiting.result(), no_key);
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(KeyReading, TheSleepCyclesReaderNeverWaits)
{
    init();
    EXPECT_EQ(pm_get_key(), no_key);
    board.input(buttons, {{1, 115, 1}});
    captured_stdout output;
    const taken_key taken = pm_get_key();
    EXPECT_EQ(output.take(), shown("1", "73", "1"));
    EXPECT_EQ(taken, no_key);
}

TEST_F(KeyReading, TheEndOfAFileIsTheEndOfReadingWhateverErrnoSays)
{
    init_with_file(record_of({1, 28, 1}));
    for (const auto& reader : readers) {
        EXPECT_EQ(reader.next(), pressed(36)) << reader.name;
        errno = EINTR;
        EXPECT_EQ(reader.next(), no_key) << reader.name;
    }
}

TEST_F(KeyReading, WhatAShortRecordLacksIsZero)
{
    const struct {
        std::size_t length;
        taken_key taken;
    } rows[] = {
        {15, pressed(36)},  {13, pressed(36)}, // of value 1 only zeros are missing
        {12, released(36)},                    // no value
        {11, released(36)},                    // nor half of the code
        {10, released(0)},                     // nor any code: that of the record before is forgotten
        {9, released(0)},                      // nor half of the type
        {8, no_key},        {1, no_key},       // no type
    };
    init_with_file({});
    for (const auto& row : rows) {
        board.attribute(node_of(0), {.text = record_of({1, 2, 1}) + record_of({1, 28, 1}).substr(0, row.length)});
        init();
        for (const auto& reader : readers) {
            EXPECT_EQ(reader.next(), pressed(49)) << reader.name << ' ' << row.length;
            EXPECT_EQ(reader.next(), row.taken) << reader.name << ' ' << row.length;
            EXPECT_EQ(reader.next(), no_key) << reader.name << ' ' << row.length;
        }
    }
}
