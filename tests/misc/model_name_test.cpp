/** The model's name follows from the contactless chip. */
#include <kt_driver/base.h>
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <gtest/gtest.h>
#include <string>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

TEST(ModelName, Chip6IsTheB11)
{
    const struct {
        const char* chip;
        const char* name;
        const char* line;
    } rows[] = {
        {"6\n", "KT410 B11", "kt_get_rfid_chip ret=6\r\n"},   {"0\n", "KT410 B10", "kt_get_rfid_chip ret=0\r\n"},
        {"5\n", "KT410 B10", "kt_get_rfid_chip ret=5\r\n"},   {"7\n", "KT410 B10", "kt_get_rfid_chip ret=7\r\n"},
        {"60\n", "KT410 B10", "kt_get_rfid_chip ret=60\r\n"}, {"", "KT410 B10", "kt_get_rfid_chip ret=0\r\n"},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(KT_NFC_DIR "nfc_rfid_chip", {.text = row.chip, .mode = 0444});
        std::string name;
        EXPECT_EQ(printed([&] { name = kt_get_model_name(); }), row.line);
        EXPECT_EQ(name, row.name) << row.chip;
    }
}

TEST(ModelName, WithoutTheChipsAttributeTheHardwareVersionDecides)
{
    virtual_terminal board;
    board.remove(KT_NFC_DIR "nfc_rfid_chip");
    for (const char* version : {"90", "50", "501", "7"}) {
        board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = version, .mode = 0444});
        kt_base_init();
        std::string name;
        printed([&] { name = kt_get_model_name(); });
        EXPECT_EQ(name, version == std::string("90") ? "KT410 B11" : "KT410 B10") << version;
    }
}

TEST(ModelName, IsAConstant)
{
    const char* first = nullptr;
    const char* second = nullptr;
    printed([&] {
        first = kt_get_model_name();
        second = kt_get_model_name();
    });
    EXPECT_EQ(first, second);
}
