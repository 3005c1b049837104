/** The power supply's class: its properties, and what a query of one gives. */
#pragma once

#include "power/power_supply.h"

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/own_supply.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace kt::tests {

using terminal::virtual_terminal;
using lines = std::vector<std::string>;

inline constexpr std::int32_t untouched = 0x5a5a5a5a;

enum kind { word, number };

struct property {
    power_supply_property name;
    int value;
    const char* attribute;
    kind how;
};
inline const property properties[] = {
    {kt::property_status, 0, "status", word},
    {kt::property_charge_type, 1, "charge_type", word},
    {kt::property_health, 2, "health", word},
    {kt::property_present, 3, "present", number},
    {kt::property_online, 4, "online", number},
    {kt::property_technology, 5, "technology", word},
    {kt::property_cycle_count, 6, "cycle_count", number},
    {kt::property_voltage_max, 7, "voltage_max", number},
    {kt::property_voltage_min, 8, "voltage_min", number},
    {kt::property_voltage_max_design, 9, "voltage_max_design", number},
    {kt::property_voltage_min_design, 10, "voltage_min_design", number},
    {kt::property_voltage_now, 11, "voltage_now", number},
    {kt::property_voltage_avg, 12, "voltage_avg", number},
    {kt::property_current_now, 13, "current_now", number},
    {kt::property_current_avg, 14, "current_avg", number},
    {kt::property_power_now, 15, "power_now", number},
    {kt::property_power_avg, 16, "power_avg", number},
    {kt::property_charge_full_design, 17, "charge_full_design", number},
    {kt::property_charge_empty_design, 18, "charge_empty_design", number},
    {kt::property_charge_full, 19, "charge_full", number},
    {kt::property_charge_empty, 20, "charge_empty", number},
    {kt::property_charge_now, 21, "charge_now", number},
    {kt::property_charge_avg, 22, "charge_avg", number},
    {kt::property_charge_counter, 23, "charge_counter", number},
    {kt::property_energy_full_design, 24, "energy_full_design", number},
    {kt::property_energy_empty_design, 25, "energy_empty_design", number},
    {kt::property_energy_full, 26, "energy_full", number},
    {kt::property_energy_empty, 27, "energy_empty", number},
    {kt::property_energy_now, 28, "energy_now", number},
    {kt::property_energy_avg, 29, "energy_avg", number},
    {kt::property_capacity, 30, "capacity", number},
    {kt::property_capacity_level, 31, "capacity_level", word},
    {kt::property_temp, 32, "temp", number},
    {kt::property_temp_ambient, 33, "temp_ambient", number},
    {kt::property_time_to_empty_now, 34, "time_to_empty_now", number},
    {kt::property_time_to_empty_avg, 35, "time_to_empty_avg", number},
    {kt::property_time_to_full_now, 36, "time_to_full_now", number},
    {kt::property_time_to_full_avg, 37, "time_to_full_avg", number},
    {kt::property_type, 38, "type", word},
    {kt::property_model_name, 39, "model_name", word},
    {kt::property_manufacturer, 40, "manufacturer", number},
    {kt::property_serial_number, 41, "serial_number", number},
};
static_assert(std::size(properties) == 42);

/** A supply that was found. */
struct found_supply : kt_power_supply {
    found_supply() : kt_power_supply("kt_bat") { EXPECT_EQ(active(), 0); }
};

/** What a property yields. */
inline int value_of(const kt_power_supply& supply, int prop)
{
    power_supply_propval cell = {untouched};
    EXPECT_EQ(supply.get_property(static_cast<power_supply_property>(prop), &cell), 0) << prop;
    return cell.value;
}

/** Expects that a property is refused with @p cause, and that this is all. */
inline void expect_failure(virtual_terminal& board, const kt_power_supply& supply, int prop, int cause)
{
    board.forget();
    const std::set<int> before = open_descriptors();
    power_supply_propval cell = {untouched};
    int result = 0;
    errno = 0;
    const std::string text =
        printed([&] { result = supply.get_property(static_cast<power_supply_property>(prop), &cell); });
    EXPECT_EQ(errno, cause) << prop;
    EXPECT_EQ(result, -1) << prop;
    EXPECT_EQ(cell.value, untouched) << prop;
    EXPECT_EQ(text, "") << prop;
    EXPECT_EQ(told(board, {"syslog", "write"}), lines{}) << prop;
    EXPECT_EQ(open_descriptors(), before) << prop;
}

} // namespace kt::tests
