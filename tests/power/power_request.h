/** A request for another power state, on a board that survives it. */
#pragma once

#include <kt_driver/base.h>
#include <kt_driver/power.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/own_supply.h"
#include "tests/support/paths.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kt::tests {

inline void has_versions(terminal::virtual_terminal& board, const std::string& hardware, const std::string& wifi)
{
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = hardware + "\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = wifi + "\n", .mode = 0444});
    kt_base_init();
}

/** A terminal that goes neither off nor up again: both programs are only recorded. */
inline void prepare_power(terminal::virtual_terminal& board, const std::string& status = "Discharging\n",
                          const std::string& hardware = "200")
{
    board.program("reboot", 0);
    board.program("poweroff", 0);
    give_supply(board, status);
    has_versions(board, hardware, "2");
    printed([] { kt_supplypower_init(); });
    board.forget();
}

/** One request; what it returned is also what it printed last. */
inline std::string power_request(int state, int expected = 0)
{
    int result = -99;
    const std::string text = printed([&] { result = kt_system_power_state(state); });
    EXPECT_EQ(result, expected);
    return text;
}

/** What the board saw, but for opens: a shell's are in no fixed form. */
inline std::vector<std::string> power_steps(terminal::virtual_terminal& board)
{
    return told(board, {"read", "write", "shell", "program", "syslog"});
}

} // namespace kt::tests
