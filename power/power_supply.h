// One power supply of the kernel: its properties as numbers.
#pragma once

#include <cstdint>
#include <string>

namespace kt {

/** In the order of the table of attributes. */
enum power_supply_property : int {
    property_status,
    property_charge_type,
    property_health,
    property_present,
    property_online,
    property_technology,
    property_cycle_count,
    property_voltage_max,
    property_voltage_min,
    property_voltage_max_design,
    property_voltage_min_design,
    property_voltage_now,
    property_voltage_avg,
    property_current_now,
    property_current_avg,
    property_power_now,
    property_power_avg,
    property_charge_full_design,
    property_charge_empty_design,
    property_charge_full,
    property_charge_empty,
    property_charge_now,
    property_charge_avg,
    property_charge_counter,
    property_energy_full_design,
    property_energy_empty_design,
    property_energy_full,
    property_energy_empty,
    property_energy_now,
    property_energy_avg,
    property_capacity,
    property_capacity_level,
    property_temp,
    property_temp_ambient,
    property_time_to_empty_now,
    property_time_to_empty_avg,
    property_time_to_full_now,
    property_time_to_full_avg,
    property_type,
    property_model_name,
    property_manufacturer,
    property_serial_number,
    property_count
};

/** The result of a query. */
struct power_supply_propval {
    std::int32_t value;
};

/** Threads: any, once active() has returned. */
class kt_power_supply {
public:
    /** Touches no file. */
    explicit kt_power_supply(const std::string& name);

    /** Looks whether the kernel has the supply, and learns the words of its properties. 0; -1: it does not, errno says
        why; every word then reads as 0. */
    int active();

    /**
     * Reads one property, in the units of the kernel's driver. A word becomes the number of its table, one that is not
     * in it 0; the model's name is always 0. Other texts are read as signed numbers, which saturate; a text without one
     * is 0.
     * @return 0; -1: the attribute cannot be read, errno says why, @p val is untouched. EINVAL: there is no such
     *         property, or @p val is null.
     */
    int get_property(power_supply_property prop, power_supply_propval* val) const;

private:
    std::string directory_; // ends in '/'
    bool knows_words_ = false;
};

} // namespace kt
