/** How a battery charges, discharges and stops at its limit, under a time that the test lets pass; and its options. */
#include "terminal/battery/battery.h"

#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace kt::terminal;
using hours = battery_cell::hours;
using enum supply_property;

std::string shown(const battery_cell& cell, supply_property which)
{
    return cell.values()[static_cast<std::size_t>(which)];
}

/** A cell at a percentage, on mains or not, with rates of 10 percent an hour. */
battery_cell cell_at(double percent, bool mains)
{
    battery_cell cell;
    cell.set_charge_rate(10);
    cell.set_discharge_rate(10);
    cell.set_capacity(percent);
    cell.set_mains(mains);
    return cell;
}

TEST(BatteryCell, DischargesAtItsRateUntilItIsEmpty)
{
    battery_cell cell = cell_at(50, false);
    EXPECT_EQ(shown(cell, time_to_empty_now), "18000");
    cell.pass(hours(2));
    EXPECT_NEAR(cell.capacity(), 30, 1e-9);
    EXPECT_EQ(shown(cell, status), "Discharging");
    EXPECT_EQ(shown(cell, charge_type), "N/A");
    EXPECT_EQ(shown(cell, supply_property::capacity), "30");
    EXPECT_EQ(shown(cell, time_to_empty_avg), "10800");
    EXPECT_EQ(shown(cell, time_to_full_now), "0");
    cell.pass(hours(100));
    EXPECT_EQ(shown(cell, supply_property::capacity), "0");
    EXPECT_EQ(shown(cell, voltage_now), "6600");
    EXPECT_EQ(shown(cell, current_now), "0");
    EXPECT_EQ(shown(cell, capacity_level), "Critical");
    EXPECT_EQ(shown(cell, status), "Discharging");
    EXPECT_EQ(cell.rate(), 0);
}

TEST(BatteryCell, ChargesFastThenSlowlyThenIsFull)
{
    battery_cell cell = cell_at(85, true);
    EXPECT_EQ(shown(cell, status), "Charging");
    EXPECT_EQ(shown(cell, charge_type), "Fast");
    EXPECT_EQ(shown(cell, time_to_full_now),
              "10800"); // an hour to 95 percent, two for the rest at a quarter of the rate
    cell.pass(hours(1));
    EXPECT_EQ(cell.capacity(), 95);
    EXPECT_EQ(shown(cell, charge_type), "Trickle");
    EXPECT_EQ(shown(cell, current_now), "65"); // 2.5 percent of 2600 mAh in an hour
    cell.pass(hours(1));
    EXPECT_NEAR(cell.capacity(), 97.5, 1e-9);
    EXPECT_EQ(shown(cell, status), "Charging");
    cell.pass(hours(1.5));
    EXPECT_EQ(cell.capacity(), 100);
    EXPECT_EQ(shown(cell, status), "Full");
    EXPECT_EQ(shown(cell, charge_type), "N/A");
    EXPECT_EQ(shown(cell, capacity_level), "Full");
    EXPECT_EQ(shown(cell, voltage_now), "8400");
    EXPECT_EQ(shown(cell, time_to_full_now), "0");
    EXPECT_EQ(cell.rate(), 0);
}

TEST(BatteryCell, ProtectionEndsChargingAtItsLimit)
{
    battery_cell cell = cell_at(75, true);
    cell.set_limit(80);
    EXPECT_EQ(shown(cell, status), "Charging");
    EXPECT_EQ(shown(cell, time_to_full_now), "1800");
    cell.pass(hours(5));
    EXPECT_EQ(cell.capacity(), 80);
    EXPECT_EQ(shown(cell, status), "Not charging");
    EXPECT_EQ(shown(cell, charge_type), "N/A");
    cell.set_limit(70); // below what is there: mains feeds the terminal, the battery keeps what it has
    cell.pass(hours(5));
    EXPECT_EQ(cell.capacity(), 80);
    EXPECT_EQ(shown(cell, status), "Not charging");
    cell.set_limit(100);
    EXPECT_EQ(shown(cell, status), "Charging");
}

TEST(BatteryCell, TheLimitCountsAsTheGaugeShowsIt)
{
    battery_cell cell = cell_at(80, false);
    cell.set_limit(80);
    cell.pass(hours(0.01)); // 79.9
    EXPECT_EQ(shown(cell, supply_property::capacity), "80");
    cell.set_mains(true);
    EXPECT_EQ(shown(cell, status), "Not charging");
    cell.set_mains(false);
    cell.pass(hours(0.05)); // 79.4
    cell.set_mains(true);
    EXPECT_EQ(shown(cell, status), "Charging");
    cell.pass(hours(0.02)); // 79.6: it goes on to the limit itself
    EXPECT_EQ(shown(cell, status), "Charging");
    cell.pass(hours(0.1));
    EXPECT_EQ(cell.capacity(), 80);
    EXPECT_EQ(shown(cell, status), "Not charging");
}

TEST(BatteryCell, LevelsHaveTheirThresholds)
{
    struct row {
        double percent;
        const char* level;
    };
    for (const row& each : {row{0, "Critical"}, row{4, "Critical"}, row{5, "Low"}, row{14, "Low"}, row{15, "Normal"},
                            row{89, "Normal"}, row{90, "High"}, row{99, "High"}, row{100, "Full"}})
        EXPECT_EQ(shown(cell_at(each.percent, false), capacity_level), each.level) << each.percent;
}

TEST(BatteryCell, ItsNumbersFitEachOther)
{
    const battery_cell cell = cell_at(50, false);
    EXPECT_EQ(shown(cell, voltage_now), "7500");
    EXPECT_EQ(shown(cell, current_now), "-260"); // 10 percent of 2600 mAh in an hour
    EXPECT_EQ(shown(cell, power_now), "-1950");
    EXPECT_EQ(shown(cell, charge_now), "1300");
    EXPECT_EQ(shown(cell, charge_counter), "1300");
    EXPECT_EQ(shown(cell, energy_full), "19500"); // 2600 mAh at 7.5 V
    EXPECT_EQ(shown(cell, energy_now), "9165");   // 1300 mAh at the mean of 6.6 and 7.5 V
    EXPECT_EQ(shown(cell_at(50, true), current_now), "260");
    EXPECT_EQ(shown(cell_at(50, true), online), "1");
}

TEST(BatteryCell, WithoutRatesTimeChangesNothing)
{
    battery_cell cell = cell_at(50, true);
    cell.set_charge_rate(0);
    cell.pass(hours(1000));
    EXPECT_EQ(cell.capacity(), 50);
    EXPECT_EQ(shown(cell, status), "Charging");
    EXPECT_EQ(shown(cell, time_to_full_now), "0");
}

/** A battery on a board whose time the test moves. */
class battery_on_board : public testing::Test {
protected:
    static constexpr const char* folder = "/sys/class/power_supply/kt_bat";

    void SetUp() override
    {
        shown_.put_attribute(battery::mains_attribute, {.text = "0\n", .mode = 0444, .kind = attribute_kind::integer});
        shown_.put_attribute(battery::limit_attribute,
                             {.text = "100\n", .mode = 0644, .kind = attribute_kind::integer});
        ASSERT_TRUE(shown_.make_device("battery", folder, R"({ "kind": "battery", "capacity": 50, "charge_rate": 10,
            "discharge_rate": 10, "speed": 1 })"));
    }

    std::string text(const std::string& name) const
    {
        const auto state = shown_.attribute(std::string(folder) + "/" + name);
        return state ? state->text : "(none)";
    }
    void plug(bool in) { shown_.put_attribute(battery::mains_attribute, {.text = in ? "1\n" : "0\n", .mode = 0444}); }
    void pass(std::chrono::minutes time)
    {
        now_ += time;
        battery_of(shown_)->refresh();
    }

    std::chrono::steady_clock::time_point now_ = std::chrono::steady_clock::now();
    board shown_;
    fitted_battery fitted_{shown_, [this] { return now_; }};
};

TEST_F(battery_on_board, FollowsTimeMainsAndLimit)
{
    EXPECT_EQ(text("capacity"), "50\n");
    EXPECT_EQ(text("status"), "Discharging\n");
    pass(std::chrono::hours(2));
    EXPECT_EQ(text("capacity"), "30\n");
    plug(true);
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_EQ(text("online"), "1\n");
    pass(std::chrono::hours(1));
    EXPECT_EQ(text("capacity"), "40\n");
    shown_.put_attribute(battery::limit_attribute, {.text = "30\n"});
    EXPECT_EQ(text("status"), "Not charging\n");
    plug(false);
    EXPECT_EQ(text("status"), "Discharging\n");
}

TEST_F(battery_on_board, WhatIsSetStandsUntilTheBatteryHasSomethingNewToSay)
{
    for (const char* name : {"status", "capacity", "temp"})
        EXPECT_TRUE(shown_.put_attribute(std::string(folder) + "/" + name, {.text = "99\n", .mode = 0444})) << name;
    pass(std::chrono::minutes(1)); // 49.8 percent: 50 as before
    EXPECT_EQ(text("capacity"), "99\n");
    pass(std::chrono::minutes(60));
    EXPECT_EQ(text("capacity"), "40\n");
    EXPECT_EQ(text("status"), "99\n");
    EXPECT_EQ(text("temp"), "99\n");
    plug(true);
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_EQ(text("temp"), "99\n");
    battery_of(shown_)->change({.fixed = {{temp, std::nullopt}}}); // given back by name
    EXPECT_EQ(text("temp"), "265\n");
}

TEST_F(battery_on_board, ARemovedAttributeStaysAway)
{
    EXPECT_TRUE(shown_.remove(std::string(folder) + "/capacity"));
    pass(std::chrono::hours(3));
    EXPECT_EQ(text("capacity"), "(none)");
    EXPECT_EQ(text("voltage_now"), "6960\n");
}

TEST_F(battery_on_board, FixedValuesStandWhateverHappens)
{
    battery_of(shown_)->change(read_battery_change(R"({ "status": "Not charging", "voltage_now": -5 })"));
    EXPECT_EQ(text("status"), "Not charging\n");
    plug(true);
    pass(std::chrono::hours(1));
    EXPECT_EQ(text("status"), "Not charging\n");
    EXPECT_EQ(text("voltage_now"), "-5\n");
    EXPECT_EQ(text("capacity"), "60\n");
    battery_of(shown_)->change(read_battery_change(R"({ "status": null, "voltage_now": null })"));
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_EQ(text("voltage_now"), "7680\n");
}

TEST_F(battery_on_board, SpeedMakesHoursPassInSeconds)
{
    battery_of(shown_)->change(read_battery_change(R"({ "speed": 3600 })"));
    now_ += std::chrono::seconds(2);
    battery_of(shown_)->refresh();
    EXPECT_EQ(text("capacity"), "30\n");
    battery_of(shown_)->change(read_battery_change(R"({ "speed": 0 })"));
    pass(std::chrono::hours(50));
    EXPECT_EQ(text("capacity"), "30\n");
}

TEST_F(battery_on_board, IsTakenOutAndPutIn)
{
    EXPECT_TRUE(shown_.remove(folder));
    EXPECT_EQ(battery_of(shown_), nullptr);
    plug(true); // nobody is there to hear of it
    EXPECT_FALSE(shown_.list(folder));
    EXPECT_TRUE(shown_.make_device("battery", folder, R"({ "kind": "battery", "capacity": 7 })"));
    EXPECT_EQ(text("capacity"), "7\n");
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_TRUE(shown_.make_device("battery", folder, R"({ "kind": "battery", "capacity": 90 })")); // in already
    EXPECT_EQ(text("capacity"), "7\n");
    EXPECT_THROW(shown_.make_device("battery", "/sys/class/power_supply/two", "{}"), std::invalid_argument);
}

TEST_F(battery_on_board, TheChargerWakesTheBoard)
{
    std::vector<int> sources;
    shown_.set_wake_listener([&](int source) { sources.push_back(source); });
    plug(true);
    plug(true);
    plug(false);
    EXPECT_EQ(sources, (std::vector<int>{wake_source::other, wake_source::other}));
}

TEST_F(battery_on_board, ReadsNumbersOfAnySize)
{
    shown_.put_attribute(battery::mains_attribute, {.text = "4294967296\n", .mode = 0444}); // low 32 bits are 0
    EXPECT_EQ(text("status"), "Charging\n");
    shown_.put_attribute(battery::limit_attribute, {.text = "-99999999999999999999\n"});
    EXPECT_EQ(text("status"), "Not charging\n");
    EXPECT_EQ(battery_of(shown_)->state().limit, 0);
    shown_.put_attribute(battery::limit_attribute, {.text = "4294967296\n"});
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_EQ(battery_of(shown_)->state().limit, 100);
    shown_.put_attribute(battery::mains_attribute, {.text = "no number\n", .mode = 0444});
    EXPECT_EQ(text("status"), "Discharging\n");
}

TEST(Battery, TouchesNoBoardAfterItsStop)
{
    auto shown = std::make_unique<board>();
    const auto made = std::make_shared<battery>(*shown, "/sys/class/power_supply/kt_bat",
                                                [] { return std::chrono::steady_clock::now(); });
    made->begin({.mains = false});
    made->stop();
    EXPECT_TRUE(made->is_gone());
    made->change({.mains = true});
    EXPECT_EQ(shown->attribute(battery::mains_attribute)->text, "0\n");
    shown.reset();
    EXPECT_TRUE(made->is_gone());
    made->refresh();
    made->change({.capacity = 5, .mains = true});
}

TEST(Battery, ItsStopWaitsForTheWakeUpThatIsUnderWay)
{
    board shown;
    const auto made = std::make_shared<battery>(shown, "/sys/class/power_supply/kt_bat",
                                                [] { return std::chrono::steady_clock::now(); });
    made->begin({.mains = false});
    std::promise<void> told;
    std::promise<void> go_on;
    shown.set_wake_listener([&](int) {
        told.set_value();
        go_on.get_future().wait();
    });
    shown.put_attribute(battery::mains_attribute, {.text = "1\n", .mode = 0444});
    std::thread looks([&] { made->refresh(); });
    told.get_future().wait();
    auto stopped = std::async(std::launch::async, [&] { made->stop(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    go_on.set_value();
    stopped.get();
    looks.join();
}

TEST_F(battery_on_board, ManyMayAskAndPlugAtOnce)
{
    std::vector<std::thread> all;
    for (int number = 0; number < 4; ++number)
        all.emplace_back([this, number] {
            for (int round = 0; round < 200; ++round) {
                plug((round + number) % 2 == 0);
                battery_of(shown_)->change({.capacity = number * 10, .speed = 1'000'000});
                (void)battery_of(shown_)->state();
            }
        });
    for (std::thread& each : all)
        each.join();
    plug(true);
    battery_of(shown_)->change({.capacity = 40, .speed = 0});
    EXPECT_EQ(text("status"), "Charging\n");
    EXPECT_EQ(text("capacity"), "40\n");
}

std::string refusal(const std::string& options)
{
    try {
        (void)read_battery_change(options);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "accepted";
}

TEST(BatteryOptions, OthersAreRefused)
{
    EXPECT_EQ(refusal(R"([])"), "a battery's options are an object");
    EXPECT_EQ(refusal(R"({ "charge": 1 })"), "charge: unknown");
    EXPECT_EQ(refusal(R"({ "capacity": 101 })"), "capacity: must be a number from 0 to 100");
    EXPECT_EQ(refusal(R"({ "speed": -1 })"), "speed: must be a number from 0 to 1000000");
    EXPECT_EQ(refusal(R"({ "mains": 1 })"), "mains: must be true or false");
    EXPECT_EQ(refusal(R"({ "temp": "hot" })"), "temp: must be a whole number of 32 bits");
    EXPECT_EQ(refusal(R"({ "temp": 2147483648 })"), "temp: must be a whole number of 32 bits");
    EXPECT_EQ(refusal(R"({ "type": "Unknown" })"), R"(type: must be one of "Battery", "UPS", "Mains", "USB")");
    EXPECT_EQ(refusal(R"({ "model_name": "a\nb" })"), "model_name: must be a text of one line and at most 100 bytes");
    EXPECT_EQ(refusal(R"({ "serial_number": 12, "temp": -40, "capacity": 33.5, "health": "Over voltage" })"),
              "accepted");
}

} // namespace
