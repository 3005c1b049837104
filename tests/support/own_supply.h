/** A supply that holds what the test says, and nothing else: the board's own battery lives, and would say more. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <string>

#define KT_SUPPLY_DIR "/sys/class/power_supply/kt_bat/"

namespace kt::tests {

/** Sets one attribute, as its driver offers it: to be read only. */
inline void supply_says(terminal::virtual_terminal& board, const std::string& attribute, const std::string& text)
{
    board.attribute(KT_SUPPLY_DIR + attribute, {.text = text, .mode = 0444});
}

/** Takes the board's battery away, if there is one. */
inline void take_supply(terminal::virtual_terminal& board)
{
    supply_says(board, "status", ""); // what is not there cannot be removed
    board.remove("/sys/class/power_supply/kt_bat");
}

/** Puts one in its place that has what kt_power_battery_attr() asks for. */
inline void give_supply(terminal::virtual_terminal& board, const std::string& status = "Discharging\n")
{
    take_supply(board);
    supply_says(board, "status", status);
    supply_says(board, "capacity", "57\n");
    supply_says(board, "voltage_now", "7421\n");
    supply_says(board, "capacity_level", "High\n");
}

} // namespace kt::tests
