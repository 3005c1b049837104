/** How a battery charges and discharges, and what its gauge makes of it. */
#include "terminal/battery/cell.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kt::terminal {

namespace {

constexpr double seconds_an_hour = 3600;

std::string number_text(double value)
{
    constexpr double most = std::numeric_limits<int>::max();
    return std::to_string(static_cast<int>(std::lround(std::clamp(value, -most, most))));
}

const char* level_of(double percent)
{
    if (percent >= 100)
        return "Full";
    if (percent >= 90)
        return "High";
    if (percent >= 15)
        return "Normal";
    return percent >= 5 ? "Low" : "Critical";
}

} // namespace

/** The whole percentage that the gauge shows. */
double battery_cell::gauge() const
{
    return std::round(capacity_);
}

void battery_cell::set_capacity(double percent)
{
    capacity_ = std::clamp(percent, 0.0, 100.0);
    charging_ = false;
    settle();
}

void battery_cell::set_mains(bool present)
{
    mains_ = present;
    settle();
}

void battery_cell::set_limit(int percent)
{
    limit_ = std::clamp(percent, 0, 100);
    settle();
}

/** A charger that runs goes on to the limit itself; one that rests starts again when the gauge is below it. */
void battery_cell::settle()
{
    if (!mains_ || capacity_ >= limit_)
        charging_ = false;
    else if (gauge() < limit_)
        charging_ = true;
}

double battery_cell::rate() const
{
    if (!mains_)
        return capacity_ > 0 ? -discharge_rate_ : 0;
    if (!charging_)
        return 0;
    return capacity_ < trickle_from ? charge_rate_ : charge_rate_ * trickle_share;
}

/** The percentage at which its rate becomes another. */
double battery_cell::next_end() const
{
    if (!mains_)
        return 0;
    return capacity_ < trickle_from ? std::min<double>(trickle_from, limit_) : limit_;
}

battery_cell::hours battery_cell::steady() const
{
    return hours((next_end() - capacity_) / rate());
}

void battery_cell::pass(hours time)
{
    while (time.count() > 0 && rate() != 0) {
        const hours most = steady();
        if (time < most) {
            capacity_ += rate() * time.count();
            return;
        }
        time -= most;
        capacity_ = next_end();
        settle();
    }
}

const char* battery_cell::status() const
{
    if (!mains_)
        return "Discharging";
    if (charging_)
        return "Charging";
    return gauge() >= 100 ? "Full" : "Not charging";
}

/** Seconds until it is empty, or until charging ends. */
double battery_cell::time_to_end() const
{
    battery_cell ahead = *this;
    hours time{0};
    while (ahead.rate() != 0) {
        time += ahead.steady();
        ahead.capacity_ = ahead.next_end();
        ahead.settle();
    }
    return time.count() * seconds_an_hour;
}

supply_values battery_cell::values() const
{
    const double part = capacity_ / 100;
    const double voltage = empty_mv + part * (full_mv - empty_mv);
    const double charge = part * full_mah;
    const double current = rate() / 100 * full_mah;
    const double power = voltage * current / 1000;
    // Voltage rises evenly with the charge: what is in the cell was taken in at the mean of empty and now.
    const double energy = charge * (empty_mv + voltage) / 2 / 1000;
    const double full_energy = full_mah * (empty_mv + full_mv) / 2 / 1000;
    const double left = time_to_end();

    supply_values all;
    const auto put = [&](supply_property which, std::string text) {
        all[static_cast<std::size_t>(which)] = std::move(text);
    };
    const auto put_numbers = [&](double value, std::initializer_list<supply_property> which) {
        for (const supply_property each : which)
            put(each, number_text(value));
    };
    using enum supply_property;
    put(supply_property::status, this->status());
    put(charge_type, !charging_ ? "N/A" : capacity_ < trickle_from ? "Fast" : "Trickle");
    put(health, "Good");
    put(technology, "Li-ion");
    put(capacity_level, level_of(gauge()));
    put(type, "Battery");
    put(model_name, "KT-B2600");
    put(manufacturer, "Kestrel");
    put(serial_number, "20240612");
    put_numbers(1, {present});
    put_numbers(mains_ ? 1 : 0, {online});
    put_numbers(12, {cycle_count});
    put_numbers(full_mv, {voltage_max, voltage_max_design});
    put_numbers(empty_mv, {voltage_min, voltage_min_design});
    put_numbers(voltage, {voltage_now, voltage_avg});
    put_numbers(current, {current_now, current_avg});
    put_numbers(power, {power_now, power_avg});
    put_numbers(full_mah, {charge_full_design, charge_full});
    put_numbers(0, {charge_empty_design, charge_empty, energy_empty_design, energy_empty});
    put_numbers(charge, {charge_now, charge_avg, charge_counter});
    put_numbers(full_energy, {energy_full_design, energy_full});
    put_numbers(energy, {energy_now, energy_avg});
    put_numbers(gauge(), {supply_property::capacity});
    put_numbers(265, {temp});
    put_numbers(250, {temp_ambient});
    put_numbers(mains_ ? 0 : left, {time_to_empty_now, time_to_empty_avg});
    put_numbers(mains_ ? left : 0, {time_to_full_now, time_to_full_avg});
    return all;
}

} // namespace kt::terminal
