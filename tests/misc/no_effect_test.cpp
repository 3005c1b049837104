/** Functions that are there for applications of other boards: they do nothing, whatever they are given. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

TEST(NoEffect, NothingIsPrintedOrTouched)
{
    void (*const without_result[])(...) = {
        kt_misc_pm_lock,    kt_misc_pm_unlock,     kt_charge_current_set, safe_usleep,
        kt_usb2host,        kt_usb2device,         kt_cam_power,          kt_usb2cam,
        kt_camera_lumen,    kt_udisk_power,        kt_cpu_vbus,           kt_charge_en,
        kt_lock_filesystem, ql_qr_usb_camera_init, ql_qr_usb_atcmd_func,  ql_qr_usb_open,
        ql_qr_usb_scan,     ql_qr_usb_close,
    };
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(printed([&] {
                  for (const auto function : without_result) {
                      function(0);
                      function(1, "text", nullptr);
                  }
              }),
              "");
    EXPECT_EQ(doings(board), std::vector<std::string>{});
}

TEST(NoEffect, ThoseWithAResultGiveZero)
{
    int (*const with_result[])(...) = {kt_jtag_status, kt_jtag_control, kt_barcode_trig};
    virtual_terminal board;
    board.forget();
    std::vector<int> results;
    EXPECT_EQ(printed([&] {
                  for (const auto function : with_result) {
                      results.push_back(function(0));
                      results.push_back(function(1, "text"));
                  }
              }),
              "");
    EXPECT_EQ(results, (std::vector<int>{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(doings(board), std::vector<std::string>{});
}
