/** The version functions: what they report of the record that base initialisation read. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

void start_with(virtual_terminal& board, const std::string& name, const std::string& text)
{
    board.attribute(KT_SYSINFO_DIR + name, {.text = text, .mode = 0444});
    EXPECT_EQ(kt_base_init(), 0);
}

} // namespace

TEST(Versions, BeforeStartUpEveryTextIsEmptyAndEveryNumberZero)
{
    virtual_terminal board; // has versions, which nobody has read yet
    board.forget();
    EXPECT_STREQ(kt_hal_ver(), "");
    EXPECT_STREQ(kt_fatfs_ver(), "");
    EXPECT_EQ(kt_get_hwver(), 0);
    EXPECT_EQ(kt_hardware_ver(), 0);
    EXPECT_EQ(kt_get_wifimodule_hwver(), 0);
    EXPECT_EQ(kt_wifimodule_ver(), 0);
    EXPECT_EQ(kt_get_device_type(), 84);
    EXPECT_EQ(kt_get_lcd_type(), 2);
    EXPECT_EQ(kt_get_sublcd_type(), -1);
    EXPECT_STREQ(kt_fal_ver(), "V1.6.8");
    EXPECT_EQ(doings(board), std::vector<std::string>{});
}

TEST(Versions, TheOlderNamesReportKernelAndRootFileSystem)
{
    virtual_terminal board;
    start_with(board, "kernelver", "4.4.94-k\n");
    start_with(board, "rootfsver", "R2.0\nbuilt today\n");
    EXPECT_STREQ(kt_hal_ver(), "4.4.94-k");
    EXPECT_STREQ(kt_fatfs_ver(), "R2.0");
    EXPECT_STREQ(kt_fal_ver(), "V1.6.8");
}

TEST(Versions, NumbersAreTheLeadingDigits)
{
    const struct {
        const char* text;
        int number;
    } rows[] = {
        {"300\n", 300}, {"090\n", 90}, {"501 rev B\n", 501}, {" 80\n", 80}, {"+50\n", 50},
        {"-5\n", -5},   {"V300\n", 0}, {"0x50\n", 0},        {"\n", 0},     {"100\n200\n", 100},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        start_with(board, "hardwarever", row.text);
        start_with(board, "wifimodule", row.text);
        EXPECT_EQ(kt_get_hwver(), row.number) << row.text;
        EXPECT_EQ(kt_hardware_ver(), row.number) << row.text;
        EXPECT_EQ(kt_get_wifimodule_hwver(), row.number) << row.text;
        EXPECT_EQ(kt_wifimodule_ver(), row.number) << row.text;
    }
}

TEST(Versions, HardwareAndWifiModuleAreTwoNumbers)
{
    virtual_terminal board;
    start_with(board, "hardwarever", "90\n");
    start_with(board, "wifimodule", "2\n");
    EXPECT_EQ(kt_get_hwver(), 90);
    EXPECT_EQ(kt_hardware_ver(), 90);
    EXPECT_EQ(kt_get_wifimodule_hwver(), 2);
    EXPECT_EQ(kt_wifimodule_ver(), 2);
}

TEST(Versions, ReportWhatStartUpReadNotWhatTheBoardSaysLater)
{
    virtual_terminal board;
    start_with(board, "hardwarever", "90\n");
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "300\n", .mode = 0444});
    board.forget();
    EXPECT_EQ(kt_hardware_ver(), 90);
    EXPECT_EQ(doings(board), std::vector<std::string>{});

    kt_base_init();
    EXPECT_EQ(kt_hardware_ver(), 300);
}

TEST(Versions, AVersionThatIsGoneIsEmptyAfterTheNextStartUp)
{
    virtual_terminal board;
    start_with(board, "kernelver", "4.4.94\n");
    board.remove(KT_SYSINFO_DIR "kernelver");
    kt_base_init();
    EXPECT_STREQ(kt_hal_ver(), "");
}

TEST(Versions, BaseInitialisationPrintsNothing)
{
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_base_init(); }), "");
    EXPECT_EQ(result, 0);
}

TEST(Versions, ThereIsNoProcessorIdentifier)
{
    unsigned char room[18];
    std::fill(std::begin(room), std::end(room), static_cast<unsigned char>(0xee));
    EXPECT_EQ(kt_get_cpuid(room + 1), room + 1);
    EXPECT_EQ(room[0], 0xee);
    EXPECT_TRUE(std::all_of(room + 1, room + 17, [](unsigned char byte) { return byte == 0; }));
    EXPECT_EQ(room[17], 0xee);

    errno = 0;
    EXPECT_EQ(kt_get_cpuid(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}
