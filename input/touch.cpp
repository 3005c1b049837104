// The touch panel: one sample for each report of the controller, for both kinds of panel.
#include "base/attributes.h"
#include "base/failure.h"
#include "input/evdev.h"
#include "kt_driver/input.h"

#include <cstdio>

namespace {

constexpr int resistive = 19; // the bus type of that controller, as the library reads the kernel's text "0019"

constexpr std::uint16_t syn_report = 0;
constexpr std::uint16_t btn_touch = 330;
constexpr std::uint16_t abs_x = 0;
constexpr std::uint16_t abs_y = 1;
constexpr std::uint16_t abs_pressure = 24;
constexpr std::uint16_t abs_mt_position_x = 53;
constexpr std::uint16_t abs_mt_position_y = 54;
constexpr std::int32_t full_pressure = 4096; // a capacitive panel has no other

int ts_fd = -1;
int ts_type = 0;
int ts_btn_touch = 0;
std::int32_t ts_abs_x = 0;
std::int32_t ts_abs_y = 0;
std::int32_t last_pressure = 0; // of a resistive panel

/** A report without a coordinate says that it is the last one. */
void fill_in(std::int32_t& coordinate, std::int32_t& last)
{
    if (coordinate == 0)
        coordinate = last;
    else
        last = coordinate;
}

void start_sampling()
{
    constexpr char directory[] = "/sys/class/kt_misc/touch/";
    if (kt::attribute_int(directory, "touch_start") == 0)
        (void)kt::set_attribute_int(directory, "touch_start", 1);
}

int read_resistive(kt_ts_sample& sample)
{
    start_sampling(); // on every call: a controller that others stopped would never report again
    kt::input_event event;
    while (kt::usable(ts_fd) && kt::read_event(ts_fd, event)) {
        if (event.type == kt::ev_abs && event.code == abs_x) {
            sample.x = event.value;
        } else if (event.type == kt::ev_abs && event.code == abs_y) {
            sample.y = event.value;
        } else if (event.type == kt::ev_abs && event.code == abs_pressure) {
            last_pressure = event.value;
        } else if (event.type == kt::ev_syn && event.code == syn_report) {
            fill_in(sample.x, ts_abs_x);
            fill_in(sample.y, ts_abs_y);
            sample.pressure = last_pressure;
            return static_cast<int>(sizeof sample);
        }
    }
    return 0;
}

int read_capacitive(kt_ts_sample& sample)
{
    kt::input_event event;
    while (kt::usable(ts_fd) && kt::read_event(ts_fd, event)) {
        if (event.type == kt::ev_key && event.code == btn_touch && (event.value == 0 || event.value == 1)) {
            ts_btn_touch = event.value;
        } else if (event.type == kt::ev_abs && event.code == abs_mt_position_x) {
            ts_abs_x = event.value;
        } else if (event.type == kt::ev_abs && event.code == abs_mt_position_y) {
            ts_abs_y = event.value;
        } else if (event.type == kt::ev_syn && event.code == syn_report && event.value == 0) {
            sample = {};
            if (ts_btn_touch != 0)
                sample = {ts_abs_x, ts_abs_y, full_pressure, 0};
            return static_cast<int>(sizeof sample);
        }
    }
    return 0;
}

void forget_touch()
{
    ts_btn_touch = 0;
    ts_abs_x = 0;
    ts_abs_y = 0;
}

} // namespace

int kt_ts_init(void)
{
    kt::node_path node;
    const int index = kt_evdev_get_node("kt_touch", node);
    if (index < 0)
        return -1;
    char directory[64];
    (void)std::snprintf(directory, sizeof directory, "/sys/class/input/event%d/device/id/", index);
    ts_type = kt::attribute_int(directory, "bustype");
    (void)std::printf("sys_node_name=%s ts_type=%d\n", directory, ts_type);
    if (!kt::reopen(ts_fd, node)) {
        const kt::errno_keeper keeper;
        (void)std::printf("open %s device error!\n", node);
        return -1;
    }
    kt::make_non_blocking(ts_fd);
    forget_touch();
    return 0;
}

int kt_ts_read(kt_ts_sample* s)
{
    if (s == nullptr) {
        errno = EINVAL;
        return 0;
    }
    return ts_type == resistive ? read_resistive(*s) : read_capacitive(*s);
}

int kt_ts_flush(void)
{
    if (kt::usable(ts_fd))
        kt::flush_events(ts_fd);
    forget_touch();
    return 0;
}

int kt_ts_probe(void)
{
    return 1;
}
