/** The types of device and displays on each hardware version, boundaries included. */
#include <kt_driver/base.h>

#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <gtest/gtest.h>
#include <string>

using kt::terminal::virtual_terminal;

namespace {

struct row {
    int hardware;
    int device;
    int display;
    int second_display;
};
const row rows[] = {
    {-1, 84, 2, -1},   {0, 84, 2, -1},    {1, 84, 2, -1},    {50, 84, 2, -1},   {79, 84, 2, -1},   {80, 87, 2, -1},
    {81, 87, 2, -1},   {85, 87, 2, -1},   {89, 87, 2, -1},   {90, 92, 2, 11},   {91, 87, 2, -1},   {99, 87, 2, -1},
    {100, 80, 2, -1},  {101, 80, 2, -1},  {199, 80, 2, -1},  {200, 61, 2, -1},  {299, 61, 2, -1},  {300, 65, 11, -1},
    {301, 65, 11, -1}, {499, 65, 11, -1}, {500, 65, 11, -1}, {501, 88, 11, -1}, {502, 65, 11, -1}, {9000, 65, 11, -1},
};

} // namespace

TEST(BoardTypes, FollowTheHardwareVersion)
{
    virtual_terminal board;
    for (const row& expected : rows) {
        board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = std::to_string(expected.hardware) + "\n", .mode = 0444});
        kt_base_init();
        EXPECT_EQ(kt_get_device_type(), expected.device) << expected.hardware;
        EXPECT_EQ(kt_get_lcd_type(), expected.display) << expected.hardware;
        EXPECT_EQ(kt_get_sublcd_type(), expected.second_display) << expected.hardware;
    }
}
