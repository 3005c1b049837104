/** Keys as the application and the sleep cycle get them: translated, in order, and each for both. */
#include "tests/input/keys.h"

#include <cerrno>
#include <climits>
#include <map>

using namespace kt::tests;
using namespace std::chrono_literals;

using Keypad = keys_on_board;

namespace {

/** The keypad's input codes and the terminal's key codes. */
const std::map<unsigned, std::uint32_t> key_codes = {
    {1, 18},  {2, 49},  {3, 50},  {4, 2},   {5, 1},   {6, 51},  {7, 3},     {8, 17},    {9, 4},    {10, 19},
    {11, 34}, {28, 36}, {52, 33}, {53, 35}, {59, 59}, {60, 60}, {103, 103}, {108, 108}, {111, 20}, {116, 116},
};

} // namespace

TEST_F(Keypad, EachCodeIsTranslated)
{
    init_without_buttons();
    for (unsigned code = 0; code < 256; ++code) {
        const std::uint32_t key = key_codes.contains(code) ? key_codes.at(code) : 0;
        board.input(keypad, {{1, code, 1}, {0, 0, 0}, {1, code, 0}, {0, 0, 0}});
        for (const auto& reader : readers) {
            EXPECT_EQ(reader.next(), pressed(key)) << reader.name << ' ' << code;
            EXPECT_EQ(reader.next(), released(key)) << reader.name << ' ' << code;
            EXPECT_EQ(reader.next(), no_key) << reader.name << ' ' << code;
        }
    }
}

TEST_F(Keypad, CodesFrom256OnAreKey0)
{
    init_without_buttons();
    for (const unsigned code : {256u, 257u, 256u + 28, 512u + 116, 767u, 4096u, 32768u, 65535u}) {
        board.input(keypad, {{1, code, 1}, {1, code, 0}});
        for (const auto& reader : readers) {
            EXPECT_EQ(reader.next(), pressed(0)) << reader.name << ' ' << code;
            EXPECT_EQ(reader.next(), released(0)) << reader.name << ' ' << code;
        }
    }
}

TEST_F(Keypad, KeysAsAPersonPressesThem)
{
    init_without_buttons();
    board.press("enter");
    EXPECT_EQ(get_key(), pressed(36));
    EXPECT_EQ(get_key(), no_key);
    board.release("enter");
    EXPECT_EQ(get_key(), released(36));
    board.type({"5", "esc", "up"});
    for (const std::uint32_t key : {51u, 18u, 103u}) {
        EXPECT_EQ(get_key(), pressed(key));
        EXPECT_EQ(get_key(), released(key));
    }
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(Keypad, AHeldKeyIsOnePressAndOneRelease)
{
    init_without_buttons();
    board.hold_key("7", 400ms); // repeats from 250 ms on
    captured_stdout output;
    const taken_key first = pm_get_key();
    const taken_key second = pm_get_key();
    const taken_key third = pm_get_key();
    EXPECT_NE(output.take().find(shown("1", "8", "2")), std::string::npos) << "no autorepeat came";
    EXPECT_EQ(first, pressed(17));
    EXPECT_EQ(second, released(17));
    EXPECT_EQ(third, no_key);
    EXPECT_EQ(get_key(), pressed(17));
    EXPECT_EQ(get_key(), released(17));
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(Keypad, OtherValuesAndOtherTypesAreLeftOut)
{
    init_without_buttons();
    for (const int value : {2, 3, -1, 255, 256, 257, 65536, 65537, INT_MAX, INT_MIN})
        board.input(keypad, {{1, 28, value}});
    for (const unsigned type : {0u, 2u, 3u, 4u, 17u, 31u, 256u, 257u, 65535u})
        board.input(keypad, {{type, 28, 1}, {type, 28, 0}});
    board.input(keypad, {{1, 2, 1}, {0, 3, 0}, {1, 2, 2}, {1, 2, 0}});
    EXPECT_EQ(get_key(), pressed(49));
    EXPECT_EQ(get_key(), released(49));
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(Keypad, OfTheButtonsOnlyThePowerKeyCounts)
{
    init();
    for (const unsigned code : {0u, 1u, 28u, 115u, 117u, 142u, 256u + 116, 65535u})
        board.input(buttons, {{1, code, 1}, {1, code, 0}});
    for (const unsigned type : {0u, 2u, 3u, 4u, 257u})
        board.input(buttons, {{type, 116, 1}});
    for (const int value : {2, -1, 257, INT_MIN})
        board.input(buttons, {{1, 116, value}});
    board.input(buttons, {{1, 116, 1}, {0, 0, 0}, {1, 116, 2}, {1, 115, 0}, {1, 116, 0}});
    EXPECT_EQ(get_key(), pressed(116));
    EXPECT_EQ(get_key(), released(116));
    EXPECT_EQ(quiet_pm_get_key(), pressed(116));
    EXPECT_EQ(quiet_pm_get_key(), released(116));
    EXPECT_EQ(quiet_pm_get_key(), no_key);
}

TEST_F(Keypad, TheKeypadComesBeforeThePowerKey)
{
    init();
    board.press("power");
    board.release("power");
    board.type({"1", "2"});
    for (const auto& reader : readers) {
        std::vector<taken_key> taken;
        for (int each = 0; each < 6; ++each)
            taken.push_back(reader.next());
        EXPECT_EQ(taken, (std::vector<taken_key>{pressed(49), released(49), pressed(50), released(50), pressed(116),
                                                 released(116)}))
            << reader.name;
    }
    board.input(buttons, {{1, 116, 1}});
    board.input(keypad, {{1, 28, 2}}); // nothing for the caller: the power key's turn
    EXPECT_EQ(get_key(), pressed(116));
}

TEST_F(Keypad, NeitherReaderTakesTheOthersKeys)
{
    init();
    board.type({"1", "enter", "power"});
    const std::vector<taken_key> all = {pressed(49),  released(49), pressed(36),
                                        released(36), pressed(116), released(116)};
    std::vector<taken_key> for_application, for_sleep;
    for (const std::size_t ahead : {1u, 3u, 4u, 6u}) { // in turns, neither always the first
        while (for_application.size() < ahead)
            for_application.push_back(get_key());
        while (for_sleep.size() < ahead)
            for_sleep.push_back(quiet_pm_get_key());
    }
    EXPECT_EQ(for_application, all);
    EXPECT_EQ(for_sleep, all);
    EXPECT_EQ(quiet_pm_get_key(), no_key);
}

TEST_F(Keypad, TheSleepCyclesReaderPrintsEveryEventAndTheApplicationsNone)
{
    init();
    board.input(keypad, {{1, 28, 1}, {0, 0, 0}, {1, 28, 2}, {4, 4, -1}, {1, 28, 0}, {0, 0, 1}});
    board.input(buttons, {{1, 115, 1}, {1, 116, INT_MIN}, {65535, 65535, INT_MAX}, {1, 116, 1}, {0, 0, 0}});

    EXPECT_EQ(printed(pm_get_key), shown("1", "1c", "1"));
    EXPECT_EQ(printed(pm_get_key),
              shown("0", "0", "0") + shown("1", "1c", "2") + shown("4", "4", "ffffffff") + shown("1", "1c", "0"));
    EXPECT_EQ(printed(pm_get_key), shown("0", "0", "1") + shown("1", "73", "1") + shown("1", "74", "80000000") +
                                       shown("ffff", "ffff", "7fffffff") + shown("1", "74", "1"));
    EXPECT_EQ(printed(pm_get_key), shown("0", "0", "0"));
    EXPECT_EQ(printed(pm_get_key), "");
    EXPECT_EQ(printed([] {
                  get_key();
                  get_key();
                  get_key();
              }),
              "");
}

TEST_F(Keypad, WhatCameBeforeTheOpeningIsNotSeen)
{
    board.press("1");
    init_without_buttons();
    EXPECT_EQ(get_key(), no_key);
    board.release("1");
    EXPECT_EQ(get_key(), released(49));
    board.press("2");
    init();
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(Keypad, BeforeTheOpeningThereIsNoKeyAndStandardInputIsNotRead)
{
    input.send(record_of({1, 28, 1}));
    for (const auto& reader : readers)
        EXPECT_EQ(reader.next(), no_key) << reader.name;
    EXPECT_EQ(kt_key_flush(), 0);
    EXPECT_EQ(kt_pm_key_flush(), 0);
    EXPECT_EQ(input.left(), record_of({1, 28, 1}));
}

TEST_F(Keypad, WithoutRoomForTheKeyNothingIsTaken)
{
    init();
    board.input(keypad, {{1, 28, 1}});
    for (const auto call : {kt_get_key, kt_pm_get_key}) {
        int result = -2;
        int cause = 0;
        EXPECT_EQ(printed([&] {
                      errno = 0;
                      result = call(nullptr);
                      cause = errno;
                  }),
                  "");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(cause, EINVAL);
    }
    for (const auto& reader : readers) {
        EXPECT_EQ(reader.next(), pressed(36)) << reader.name;
    }
}
