// Which contactless chip the board carries, and how that one emulates cards.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/nfc.h"

#include <cstdint>
#include <cstdio>

namespace {

struct board_row {
    int hardware_version;
    int chip;
};

constexpr board_row boards[] = {
    {50, 4}, {80, 3}, {90, 6}, {100, 4}, {200, 2}, {300, 3}, {500, 1}, {501, 3},
};

struct chip_row {
    std::uint16_t chip;
    std::uint16_t emulation;
};

constexpr chip_row rfid_chip_type[] = {
    {0, 0}, {1, 2}, {2, 1}, {3, 0}, {4, 0}, {5, 1}, {6, 2},
};

} // namespace

int kt_get_rfid_chip(void)
{
    const int chip = kt::attribute_int(kt::nfc_directory, "nfc_rfid_chip");
    const kt::errno_keeper keeper; // the cause, should the board be unknown too
    (void)std::printf("%s ret=%d\r\n", __func__, chip);
    if (chip != -1)
        return chip;

    const int version = kt_hardware_ver();
    for (const board_row& board : boards)
        if (board.hardware_version == version)
            return board.chip;
    return -1;
}

int kt_get_rfid_emulate_type(void)
{
    const int chip = kt_get_rfid_chip();
    for (const chip_row& row : rfid_chip_type)
        if (row.chip == chip)
            return row.emulation;
    (void)std::printf("%s rfid_chip =%d  rfid_chip_type not exist\r\n", __func__, chip);
    return 0;
}
