/** The contactless chip: by attribute, else by hardware version. */
#include <kt_driver/base.h>
#include <kt_driver/nfc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* attribute = KT_NFC_DIR "nfc_rfid_chip";

struct row {
    int hardware;
    int chip;
};
const row board_table[] = {
    {50, 4}, {80, 3}, {90, 6}, {100, 4}, {200, 2}, {300, 3}, {500, 1}, {501, 3},
};

void be(virtual_terminal& board, int hardware)
{
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = std::to_string(hardware) + "\n", .mode = 0444});
    kt_base_init();
}

/** The call's result; it must print @p line. */
int chip_printing(const std::string& line)
{
    int chip = -2;
    EXPECT_EQ(printed([&] { chip = kt_get_rfid_chip(); }), line);
    return chip;
}

} // namespace

TEST(ChipType, IsTheAttributesValueOnEveryBoard)
{
    virtual_terminal board;
    for (const int hardware : {90, 7}) {
        be(board, hardware);
        for (const int chip : {0, 1, 2, 3, 4, 5, 6, 7, 255, -2}) {
            board.attribute(attribute, {.text = std::to_string(chip) + "\n", .mode = 0444});
            board.forget();
            EXPECT_EQ(chip_printing("kt_get_rfid_chip ret=" + std::to_string(chip) + "\r\n"), chip);
            EXPECT_EQ(doings(board), lines{"open O_RDONLY /sys/class/kt_misc/nfc/nfc_rfid_chip"});
        }
    }
}

TEST(ChipType, FollowsFromTheHardwareVersionWhenItCannotBeRead)
{
    virtual_terminal board;
    board.remove(attribute);
    for (const row& expected : board_table) {
        be(board, expected.hardware);
        EXPECT_EQ(chip_printing("kt_get_rfid_chip ret=-1\r\n"), expected.chip) << expected.hardware;
    }
}

TEST(ChipType, OtherBoardsHaveNoKnownChip)
{
    virtual_terminal board;
    board.remove(attribute);
    for (const int hardware : {-1, 0, 1, 49, 51, 79, 81, 85, 89, 91, 99, 101, 199, 201, 299, 301, 499, 502, 600}) {
        be(board, hardware);
        EXPECT_EQ(chip_printing("kt_get_rfid_chip ret=-1\r\n"), -1) << hardware;
    }
}

TEST(ChipType, AFailedReadIsLoggedAndFallsBack)
{
    virtual_terminal board;
    be(board, 200);
    board.attribute(attribute, {.text = "6\n"});
    board.fail(attribute, {.on = "read", .error = EIO});
    board.forget();
    EXPECT_EQ(chip_printing("kt_get_rfid_chip ret=-1\r\n"), 2);
    EXPECT_EQ(board.syslog(),
              "kt_sys_attr_get_int can't read /sys/class/kt_misc/nfc/nfc_rfid_chip Input/output error\n");
}

TEST(ChipType, AValueOfAllOnesCannotBeToldFromAFailure)
{
    virtual_terminal board;
    be(board, 300);
    for (const char* text : {"4294967295\n", "-1\n", "99999999999\n"}) {
        board.attribute(attribute, {.text = text, .mode = 0444});
        EXPECT_EQ(chip_printing("kt_get_rfid_chip ret=-1\r\n"), 3) << text;
    }
}

TEST(ChipType, ItsCauseIsStillInErrnoWhenNothingTells)
{
    virtual_terminal board;
    be(board, 7);
    board.remove(attribute);
    errno = 0;
    const int chip = kt_get_rfid_chip();
    const int cause = errno;
    EXPECT_EQ(chip, -1);
    EXPECT_EQ(cause, ENOENT);
}
