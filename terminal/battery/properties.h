/** The properties of a power supply: the attributes' names and what each may say. */
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace kt::terminal {

/** In the order of the kernel's class. */
enum class supply_property : std::size_t {
    status,
    charge_type,
    health,
    present,
    online,
    technology,
    cycle_count,
    voltage_max,
    voltage_min,
    voltage_max_design,
    voltage_min_design,
    voltage_now,
    voltage_avg,
    current_now,
    current_avg,
    power_now,
    power_avg,
    charge_full_design,
    charge_empty_design,
    charge_full,
    charge_empty,
    charge_now,
    charge_avg,
    charge_counter,
    energy_full_design,
    energy_empty_design,
    energy_full,
    energy_empty,
    energy_now,
    energy_avg,
    capacity,
    capacity_level,
    temp,
    temp_ambient,
    time_to_empty_now,
    time_to_empty_avg,
    time_to_full_now,
    time_to_full_avg,
    type,
    model_name,
    manufacturer,
    serial_number,
};

inline constexpr std::size_t supply_properties = 42;

/** What an attribute shows before its line feed. */
enum class supply_text {
    number,
    word, /**< One of a few. */
    name, /**< Any text. */
};

struct supply_property_form {
    std::string_view name;
    supply_text text = supply_text::number;
    std::span<const std::string_view> words{};
};

/** The forms, each at its property's place. */
extern const std::array<supply_property_form, supply_properties> supply_forms;

std::optional<supply_property> supply_property_named(std::string_view name);

} // namespace kt::terminal
