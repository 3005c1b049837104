/** Fuzzes the events that keypad, buttons and panel report, records cut short among them, against a second way to the
 * same keys and samples. */
#include "base/attributes.h"
#include "input/evdev.h"
#include "kt_driver/input.h"
#include "tests/input/event_models.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

using namespace kt::tests;

namespace {

constexpr std::string_view names[] = {"gpio_keys", "Kestrel Keyboard", "kt_touch"};

int files[std::size(names)]; // each device's events
int bus_type = 0;

void expect(bool so)
{
    if (!so)
        std::abort();
}

void hold(std::size_t device, std::string_view bytes)
{
    expect(ftruncate(files[device], 0) == 0);
    expect(pwrite(files[device], bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
}

/** What a record that comes short lacks is zero. */
pending_events events_in(std::string_view bytes)
{
    raw_events events;
    for (std::size_t at = 0; at < bytes.size(); at += 16) {
        char record[16] = {};
        bytes.copy(record, sizeof record, at);
        std::uint16_t type = 0;
        std::uint16_t code = 0;
        std::int32_t value = 0;
        std::memcpy(&type, record + 8, sizeof type);
        std::memcpy(&code, record + 10, sizeof code);
        std::memcpy(&value, record + 12, sizeof value);
        events.push_back({type, code, value});
    }
    return pending_events::all_of(events);
}

} // namespace

// The devices, without a board.
int kt_evdev_get_node(const char* needle, char* dst)
{
    int index = 0;
    while (names[index] != needle)
        ++index;
    std::snprintf(dst, sizeof(kt::node_path), kt::node_format, index);
    return index;
}

bool kt::reopen(int& fd, const char* node)
{
    if (usable(fd))
        close(fd);
    const auto device = static_cast<std::size_t>(std::string_view(node).back() - '0');
    fd = open(("/proc/self/fd/" + std::to_string(files[device])).c_str(), O_RDONLY); // with a place of its own
    return usable(fd);
}

void kt::make_non_blocking(int) {}

int kt::attribute_int(const char*, const char* name)
{
    return std::string_view(name) == "bustype" ? bus_type : 1;
}

int kt::set_attribute_int(const char*, const char*, unsigned)
{
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    expect(std::freopen("/dev/null", "w", stdout) != nullptr); // one of the readers prints each event
    for (int& file : files)
        expect((file = memfd_create("events", 0)) > 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string_view keypad = bytes.substr(0, bytes.size() * data[1] / 255);
    const std::string_view buttons = bytes.substr(keypad.size());
    hold(0, buttons);
    hold(1, keypad);
    hold(2, bytes);
    bus_type = data[0];
    expect(kt_key_init() == 0);
    expect(kt_ts_init() == 0);

    for (const auto reader : {kt_get_key, kt_pm_get_key}) {
        key_model model{.of_keypad = events_in(keypad), .of_buttons = events_in(buttons)};
        taken_key expected;
        do {
            expected = model.next();
            expect(key_from(reader) == expected);
        } while (expected != no_key);
    }

    static int pressure = 0; // the library, too, keeps it over a start
    panel_model model{.resistive = bus_type == 19, .waiting = events_in(bytes), .pressure = pressure};
    touched expected;
    do {
        expected = model.next({0, 0, 0, marked, marked});
        expect(read_touch() == expected);
    } while (expected.result != 0);
    pressure = model.pressure;
    return 0;
}
