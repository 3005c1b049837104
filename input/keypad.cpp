// Keys of the keypad and the power key, for two readers that never take each other's events: the application, and the
// sleep cycle.
#include "base/failure.h"
#include "input/evdev.h"
#include "kt_driver/input.h"

#include <cstdio>
#include <initializer_list>

namespace {

constexpr std::uint16_t power_key = 116; // both the input code and the terminal's own
constexpr std::int32_t released = 0;
constexpr std::int32_t pressed = 1; // 2 is an autorepeat

// 0 until opened; usable from 1 on.
int key_fd = 0;    // GPIO buttons, for the application; blocks
int key_pm_fd = 0; // GPIO buttons, for the sleep cycle
int sp_key_fd = 0; // keypad, for the application
int sp_pm_key_fd = 0;

struct key_code {
    std::uint8_t input;
    std::uint8_t terminal;
};

constexpr key_code key_codes[] = {
    {1, 18},  {2, 49},  {3, 50},  {4, 2},   {5, 1},   {6, 51},  {7, 3},     {8, 17},    {9, 4},    {10, 19},
    {11, 34}, {28, 36}, {52, 33}, {53, 35}, {59, 59}, {60, 60}, {103, 103}, {108, 108}, {111, 20}, {116, 116},
};

std::uint8_t sp_keycode[256]; // terminal code by input code; empty until the keypad was opened for both readers

void fill_keycodes()
{
    for (const key_code& each : key_codes)
        sp_keycode[each.input] = each.terminal;
}

void say_open_failed(const char* node)
{
    const kt::errno_keeper keeper;
    (void)std::printf("open %s device error!\n", node);
}

void open_buttons()
{
    kt::node_path node;
    if (const int ret = kt_evdev_get_node("gpio_keys", node); ret < 0) {
        (void)std::printf("kt_evdev_get_node error ret = %d \n", ret);
        return;
    }
    bool opened = kt::reopen(key_fd, node);
    if (opened) {
        // Applications rely on what came of naming the other reader's descriptor here: they wait for the power key in
        // kt_get_key(), and the first call makes standard input (0) non-blocking.
        kt::make_non_blocking(key_pm_fd);
        opened = kt::reopen(key_pm_fd, node);
        if (opened)
            kt::make_non_blocking(key_pm_fd);
    }
    if (!opened)
        say_open_failed(node);
}

void open_keypad()
{
    kt::node_path node;
    if (kt_evdev_get_node("Kestrel Keyboard", node) < 0)
        return;
    bool opened = kt::reopen(sp_key_fd, node);
    if (opened) {
        kt::make_non_blocking(sp_key_fd);
        opened = kt::reopen(sp_pm_key_fd, node);
        if (opened) {
            kt::make_non_blocking(sp_pm_key_fd);
            fill_keycodes();
        }
    }
    if (!opened)
        say_open_failed(node);
}

enum class trace { off, on };

/** The next press or release of a key for which @p wanted holds. False: none is pending. */
template <typename Wanted>
bool next_key(int fd, trace traced, kt::input_event& event, Wanted wanted)
{
    while (kt::usable(fd) && kt::read_event(fd, event)) {
        if (traced == trace::on)
            (void)std::printf("type 0x%x code 0x%x value 0x%x\n", event.type, event.code,
                              static_cast<unsigned>(event.value));
        if (event.type == kt::ev_key && (event.value == pressed || event.value == released) && wanted(event.code))
            return true;
    }
    return false;
}

/** The descriptors of one reader. */
struct key_reader {
    int keypad;
    int buttons;
};

int get_key(const key_reader& from, trace traced, kt_key_event* out)
{
    if (out == nullptr) {
        errno = EINVAL;
        return 0;
    }
    kt::input_event event;
    if (next_key(from.keypad, traced, event, [](std::uint16_t) { return true; }))
        out->key = event.code < sizeof sp_keycode ? sp_keycode[event.code] : 0;
    else if (next_key(from.buttons, traced, event, [](std::uint16_t code) { return code == power_key; }))
        out->key = power_key;
    else
        return 0;
    out->state = static_cast<std::uint32_t>(event.value);
    return static_cast<int>(sizeof *out);
}

int flush_keys(const key_reader& from)
{
    for (const int fd : {from.buttons, from.keypad})
        if (fd > 0)
            kt::flush_events(fd);
    return 0;
}

} // namespace

int kt_key_init(void)
{
    open_buttons();
    open_keypad();
    return 0;
}

int kt_get_key(kt_key_event* out)
{
    return get_key({sp_key_fd, key_fd}, trace::off, out);
}

int kt_pm_get_key(kt_key_event* out)
{
    return get_key({sp_pm_key_fd, key_pm_fd}, trace::on, out);
}

int kt_key_flush(void)
{
    return flush_keys({sp_key_fd, key_fd});
}

int kt_pm_key_flush(void)
{
    return flush_keys({sp_pm_key_fd, key_pm_fd});
}
