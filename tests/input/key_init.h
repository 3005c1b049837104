/** A start of the keys: what it prints, and the descriptors it leaves. */
#pragma once

#include <kt_driver/input.h>

#include "tests/input/input_board.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/own_standard_input.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

inline std::string found_line(int index, const std::string& needle)
{
    const std::string number = std::to_string(index);
    return "find /sys/class/input/event" + number + "/device/name, dev " + needle +
           "\nkt_evdev_probe dev_index=" + number + " ret=" + number + "\n";
}

inline std::string missing_line(int index, const std::string& needle)
{
    return "can't dev " + needle + "\nkt_evdev_probe dev_index=" + std::to_string(index) + " ret=-1\n";
}

inline const std::string found_buttons = found_line(0, "gpio_keys");
inline const std::string found_keypad = found_line(1, "Kestrel Keyboard");
inline const std::string no_buttons_line = "kt_evdev_get_node error ret = -1 \n";
inline const std::string buttons_failed = "open /dev/input/event0 device error!\n";
inline const std::string keypad_failed = "open /dev/input/event1 device error!\n";

inline std::string key_init()
{
    int result = -2;
    std::string text = printed([&] { result = kt_key_init(); });
    EXPECT_EQ(result, 0);
    return text;
}

/** Which of the descriptors of a node block, lowest first. */
inline std::vector<bool> blocking(std::string_view node)
{
    std::vector<bool> found;
    for (const int fd : descriptors_of(node))
        found.push_back(blocks(fd));
    return found;
}

inline const std::vector<bool> none{};
inline const std::vector<bool> first_only{true, false};
inline const std::vector<bool> neither{false, false};

class key_start : public testing::Test {
protected:
    own_standard_input input;
    terminal::virtual_terminal board;
};

} // namespace kt::tests
