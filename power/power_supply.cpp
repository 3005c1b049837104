// Properties of a power supply: attribute names, tables of words, and one access for each query.
#include "power/power_supply.h"

#include "base/attribute_file.h"
#include "base/decimal.h"
#include "base/failure.h"
#include "base/sysfs_exception.h"

#include <dirent.h>
#include <iterator>
#include <span>
#include <string_view>

namespace kt {

namespace {

struct word {
    std::string_view text;
    std::int32_t value;
};

// Applications know these numbers. "Unknown" is no word of the first table: its numbers begin with the battery.
constexpr word type_words[] = {{"Battery", 0}, {"UPS", 1}, {"Mains", 2}, {"USB", 3}};
constexpr word status_words[] = {{"Unknown", 0}, {"Charging", 1}, {"Discharging", 2}, {"Not charging", 3}, {"Full", 4}};
constexpr word charge_type_words[] = {{"Unknown", 0}, {"N/A", 1}, {"Trickle", 2}, {"Fast", 3}};
constexpr word health_words[] = {{"Unknown", 0}, {"Good", 1},         {"Overheat", 2},
                                 {"Dead", 3},    {"Over voltage", 4}, {"Unspecified failure", 5},
                                 {"Cold", 6}};
constexpr word technology_words[] = {{"Unknown", 0}, {"NiMH", 1}, {"Li-ion", 2}, {"Li-poly", 3},
                                     {"LiFe", 4},    {"NiCd", 5}, {"LiMn", 6}};
constexpr word capacity_level_words[] = {{"Unknown", 0}, {"Critical", 1}, {"Low", 2},
                                         {"Normal", 3},  {"High", 4},     {"Full", 5}};

constexpr const char* power_supply_attrs[] = {
    "status",
    "charge_type",
    "health",
    "present",
    "online",
    "technology",
    "cycle_count",
    "voltage_max",
    "voltage_min",
    "voltage_max_design",
    "voltage_min_design",
    "voltage_now",
    "voltage_avg",
    "current_now",
    "current_avg",
    "power_now",
    "power_avg",
    "charge_full_design",
    "charge_empty_design",
    "charge_full",
    "charge_empty",
    "charge_now",
    "charge_avg",
    "charge_counter",
    "energy_full_design",
    "energy_empty_design",
    "energy_full",
    "energy_empty",
    "energy_now",
    "energy_avg",
    "capacity",
    "capacity_level",
    "temp",
    "temp_ambient",
    "time_to_empty_now",
    "time_to_empty_avg",
    "time_to_full_now",
    "time_to_full_avg",
    "type",
    "model_name",
    "manufacturer",
    "serial_number",
};
static_assert(std::size(power_supply_attrs) == property_count);

bool is_word(power_supply_property prop)
{
    switch (prop) {
    case property_status:
    case property_charge_type:
    case property_health:
    case property_technology:
    case property_capacity_level:
    case property_type:
    case property_model_name:
        return true;
    default:
        return false;
    }
}

std::span<const word> words_of(power_supply_property prop)
{
    switch (prop) {
    case property_status:
        return status_words;
    case property_charge_type:
        return charge_type_words;
    case property_health:
        return health_words;
    case property_technology:
        return technology_words;
    case property_capacity_level:
        return capacity_level_words;
    case property_type:
        return type_words;
    default:
        return {}; // the model's name
    }
}

std::int32_t number_of(std::string_view text, std::span<const word> words)
{
    text = text.substr(0, text.rfind('\n'));
    for (const word& each : words)
        if (each.text == text)
            return each.value;
    return 0;
}

} // namespace

kt_power_supply::kt_power_supply(const std::string& name) : directory_("/sys/class/power_supply/" + name + "/") {}

int kt_power_supply::active()
{
    DIR* const found = opendir(directory_.c_str());
    if (found == nullptr)
        return -1;
    (void)closedir(found);
    knows_words_ = true;
    return 0;
}

int kt_power_supply::get_property(power_supply_property prop, power_supply_propval* val) const
{
    if (prop < 0 || prop >= property_count || val == nullptr)
        return refuse(EINVAL);
    return enomem_on_bad_alloc([&] {
        try {
            attribute_file file(directory_.c_str(), power_supply_attrs[prop]);
            text_page page;
            const char* const text = file.read(page);
            if (!is_word(prop))
                val->value = signed_decimal_value(text);
            else
                val->value = knows_words_ ? number_of(text, words_of(prop)) : 0;
            return 0;
        } catch (const sysfs_exception& failure) {
            return refuse(failure.code); // the caller says what it wanted to know
        }
    });
}

} // namespace kt
