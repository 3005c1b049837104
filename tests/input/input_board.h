/** The board's keys and panel, as the tests of the library lay them out. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

// Where the default board has its devices.
inline constexpr const char* buttons = "/dev/input/event0";
inline constexpr const char* keypad = "/dev/input/event1";
inline constexpr const char* panel = "/dev/input/event2";

using raw_event = terminal::input_event_value;
using raw_events = std::vector<raw_event>;

std::string node_of(int index);

/** The attribute that holds a device's name. */
std::string name_of(int index);

/** Takes all devices and their attributes off the board. */
void remove_devices(terminal::virtual_terminal& board);

/** Plugs an input device in. */
void add_device(terminal::virtual_terminal& board, int index, std::string_view name, unsigned bus = 0);

/** Puts a file where the node of an input device would be: its reads can come short, and it has an end. */
void add_file(terminal::virtual_terminal& board, int index, std::string_view name, const std::string& bytes);

/** An event's bytes: two times of 32 bits, type and code of 16, the value of 32. */
std::string record_of(const raw_event& event);

/** The descriptors that lead to a node, lowest first. */
std::vector<int> descriptors_of(std::string_view node);

bool blocks(int fd);
void make_blocking(int fd);

} // namespace kt::tests
