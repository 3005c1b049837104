// The battery's state and where the terminal's power comes from.
#include "power/power_supply.h"

#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/power.h"

#include <cstdio>

namespace {

kt::kt_power_supply* battery_supply = nullptr; // null until the supply was found; what it points to is never freed

constexpr int always_on_mains = 50; // a hardware version
constexpr int discharging = 2;
constexpr int not_charging = 3;

kt::kt_power_supply& the_supply()
{
    static auto* const supply = new kt::kt_power_supply("kt_bat");
    return *supply;
}

/** Reads a property; prints @p complaint when it cannot be read. */
int read_property(kt::power_supply_property property, int32_t& value, const char* complaint)
{
    kt::power_supply_propval found{};
    if (battery_supply->get_property(property, &found) < 0) {
        const kt::errno_keeper keeper;
        (void)std::puts(complaint);
        return -1;
    }
    value = found.value;
    return 0;
}

} // namespace

int kt_supplypower_init(void)
{
    (void)std::puts("kt_supplypower_init kt_bat");
    return kt::enomem_on_bad_alloc([] {
        kt::kt_power_supply& supply = the_supply();
        if (supply.active() < 0) {
            battery_supply = nullptr;
            const kt::errno_keeper keeper;
            (void)std::printf("kt_power_supply_open error %m\n");
            return -1;
        }
        battery_supply = &supply;
        return 0;
    });
}

int kt_power_ac_online(void)
{
    if (kt_hardware_ver() == always_on_mains)
        return 1;
    if (battery_supply == nullptr)
        return kt::refuse(ENODEV);
    int32_t status = 0;
    if (read_property(kt::property_status, status, "ac_supply get ac online error") < 0)
        return -1;
    return status == discharging || status == not_charging ? 0 : 1;
}

int kt_power_battery_attr(kt_battery_attr* out)
{
    if (out == nullptr)
        return kt::refuse(EINVAL);
    if (battery_supply == nullptr)
        return kt::refuse(ENODEV);
    *out = {};
    out->mains_flag = kt_power_ac_online() == 1 ? 100 : -1;
    out->voltage_full = 8400;
    out->voltage_empty = 6600;

    if (read_property(kt::property_capacity, out->capacity, "battery_supply get capacity error") < 0 ||
        read_property(kt::property_voltage_now, out->voltage, "battery_supply get voliage error") < 0 ||
        read_property(kt::property_capacity_level, out->level, "batter get level error") < 0 ||
        read_property(kt::property_status, out->status, "battery_supply get status error") < 0)
        return -1;
    return 0;
}
