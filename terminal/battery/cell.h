/** A battery under charge, discharge and protection; knows no board and no clock. */
#pragma once

#include "terminal/battery/properties.h"

#include <array>
#include <chrono>
#include <ratio>
#include <string>

namespace kt::terminal {

/** What each property's attribute shows, without line feed. */
using supply_values = std::array<std::string, supply_properties>;

/** Threads: one at a time. */
class battery_cell {
public:
    using hours = std::chrono::duration<double, std::ratio<3600>>;

    static constexpr double full_mv = 8400;
    static constexpr double empty_mv = 6600;
    static constexpr double full_mah = 2600;
    static constexpr double trickle_from = 95;    /**< From this percentage on it charges slowly, */
    static constexpr double trickle_share = 0.25; /**< at this share of the rate. */

    double capacity() const { return capacity_; } /**< In percent, with its fraction. */
    bool mains() const { return mains_; }
    int limit() const { return limit_; }
    double charge_rate() const { return charge_rate_; }
    double discharge_rate() const { return discharge_rate_; }

    void set_capacity(double percent);
    void set_mains(bool present);
    /** Charging ends at this percentage; 100: no protection. */
    void set_limit(int percent);
    /** In percent an hour. */
    void set_charge_rate(double rate) { charge_rate_ = rate; }
    void set_discharge_rate(double rate) { discharge_rate_ = rate; }

    void pass(hours time);

    /** Percent an hour at this moment, negative while it gives; 0: nothing changes by itself. */
    double rate() const;
    /** How long it can go on so: until it is empty, full, at its limit, or charges slowly. rate() must not be 0. */
    hours steady() const;

    supply_values values() const;

private:
    void settle();
    double gauge() const;
    double next_end() const;
    double time_to_end() const;
    const char* status() const;

    double capacity_ = 80;
    double charge_rate_ = 36;
    double discharge_rate_ = 12;
    int limit_ = 100;
    bool mains_ = false;
    bool charging_ = false;
};

} // namespace kt::terminal
