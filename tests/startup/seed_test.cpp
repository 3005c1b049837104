/** The seed of the random numbers: the current second and the battery's voltage. */
#include <kt_driver/base.h>
#include <kt_driver/power.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/own_standard_input.h"
#include "tests/support/own_supply.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

using numbers = std::array<int, 8>;

numbers next_numbers()
{
    numbers next;
    for (int& number : next)
        number = std::rand();
    return next;
}

/** True when the generator was seeded with one of the seconds from @p first to now, and this voltage. */
bool seeded_since(std::time_t first, std::int64_t voltage)
{
    const numbers given = next_numbers();
    for (std::time_t second = first; second <= std::time(nullptr); ++second) {
        std::srand(static_cast<unsigned int>(static_cast<std::int64_t>(second) + voltage)); // cut to 32 bits
        if (next_numbers() == given)
            return true;
    }
    return false;
}

/** The battery is there, with this voltage; nobody has looked for it yet. */
void has_voltage(virtual_terminal& board, const std::string& voltage)
{
    give_supply(board);
    supply_says(board, "voltage_now", voltage);
}

/** The first opening of the keys makes descriptor 0 non-blocking. */
class Seed : public testing::Test {
    own_standard_input input_;
};

} // namespace

TEST_F(Seed, IsTheCurrentSecondWhileTheBatteryIsNotKnown)
{
    virtual_terminal board;
    has_voltage(board, "7421\n");
    std::srand(42);
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(printed([] { kt_srand_init(); }), "");
    EXPECT_TRUE(seeded_since(before, 0));
}

TEST_F(Seed, TakesTheBatterysVoltage)
{
    const struct {
        const char* text;
        std::int64_t voltage;
    } rows[] = {{"7421\n", 7421}, {"8400\n", 8400}, {"0\n", 0}, {"-100000\n", -100000}, {"99999999999\n", 2147483647}};
    virtual_terminal board;
    has_voltage(board, "");
    printed([] { kt_supplypower_init(); });
    for (const auto& row : rows) {
        has_voltage(board, row.text);
        std::srand(42);
        const std::time_t before = std::time(nullptr);
        EXPECT_EQ(printed([] { kt_srand_init(); }), "");
        EXPECT_TRUE(seeded_since(before, row.voltage)) << row.text;
    }
}

TEST_F(Seed, TakesNoVoltageFromAQueryThatFailed)
{
    const struct {
        const char* unreadable;
        const char* line;
    } rows[] = {
        {"capacity", "battery_supply get capacity error\n"},
        {"voltage_now", "battery_supply get voliage error\n"},
        {"capacity_level", "batter get level error\n"}, // the voltage has been read by then
        {"status", "ac_supply get ac online error\nbattery_supply get status error\n"},
    };
    virtual_terminal board;
    has_voltage(board, "7421\n");
    printed([] { kt_supplypower_init(); });
    for (const auto& row : rows) {
        board.fail(KT_SUPPLY_DIR + std::string(row.unreadable), {.on = "read", .error = EIO});
        std::srand(42);
        const std::time_t before = std::time(nullptr);
        EXPECT_EQ(printed([] { kt_srand_init(); }), row.line);
        EXPECT_TRUE(seeded_since(before, 0)) << row.unreadable;
        board.mend_all();
    }
}

TEST_F(Seed, IsSetByStartUpWithTheVoltage)
{
    virtual_terminal board;
    has_voltage(board, "7421\n");
    std::srand(42);
    const std::time_t before = std::time(nullptr);
    printed([] { kt_driverlib_init(); });
    EXPECT_TRUE(seeded_since(before, 7421));
}
