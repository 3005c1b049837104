/** The table of properties. */
#include "terminal/battery/properties.h"

#include <algorithm>

namespace kt::terminal {

namespace {

constexpr std::string_view status_words[] = {"Unknown", "Charging", "Discharging", "Not charging", "Full"};
constexpr std::string_view charge_type_words[] = {"Unknown", "N/A", "Trickle", "Fast"};
constexpr std::string_view health_words[] = {
    "Unknown", "Good", "Overheat", "Dead", "Over voltage", "Unspecified failure", "Cold"};
constexpr std::string_view technology_words[] = {"Unknown", "NiMH", "Li-ion", "Li-poly", "LiFe", "NiCd", "LiMn"};
constexpr std::string_view level_words[] = {"Unknown", "Critical", "Low", "Normal", "High", "Full"};
constexpr std::string_view type_words[] = {"Battery", "UPS", "Mains", "USB"};

} // namespace

constexpr std::array<supply_property_form, supply_properties> supply_forms = {{
    {"status", supply_text::word, status_words},
    {"charge_type", supply_text::word, charge_type_words},
    {"health", supply_text::word, health_words},
    {"present"},
    {"online"},
    {"technology", supply_text::word, technology_words},
    {"cycle_count"},
    {"voltage_max"},
    {"voltage_min"},
    {"voltage_max_design"},
    {"voltage_min_design"},
    {"voltage_now"},
    {"voltage_avg"},
    {"current_now"},
    {"current_avg"},
    {"power_now"},
    {"power_avg"},
    {"charge_full_design"},
    {"charge_empty_design"},
    {"charge_full"},
    {"charge_empty"},
    {"charge_now"},
    {"charge_avg"},
    {"charge_counter"},
    {"energy_full_design"},
    {"energy_empty_design"},
    {"energy_full"},
    {"energy_empty"},
    {"energy_now"},
    {"energy_avg"},
    {"capacity"},
    {"capacity_level", supply_text::word, level_words},
    {"temp"},
    {"temp_ambient"},
    {"time_to_empty_now"},
    {"time_to_empty_avg"},
    {"time_to_full_now"},
    {"time_to_full_avg"},
    {"type", supply_text::word, type_words},
    {"model_name", supply_text::name},
    {"manufacturer", supply_text::name},
    {"serial_number", supply_text::name},
}};

static_assert(supply_forms[static_cast<std::size_t>(supply_property::serial_number)].name == "serial_number");
static_assert(supply_forms[static_cast<std::size_t>(supply_property::capacity)].name == "capacity");

std::optional<supply_property> supply_property_named(std::string_view name)
{
    const auto found = std::find_if(supply_forms.begin(), supply_forms.end(),
                                    [&](const supply_property_form& each) { return each.name == name; });
    if (found == supply_forms.end())
        return std::nullopt;
    return static_cast<supply_property>(found - supply_forms.begin());
}

} // namespace kt::terminal
