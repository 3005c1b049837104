/** A board to read keys on, and its two readers. */
#pragma once

#include "tests/input/input_board.h"
#include "tests/input/taken_key.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/own_standard_input.h"

#include <gtest/gtest.h>
#include <string>

namespace kt::tests {

/** The application's next key; with GPIO buttons it waits for one. */
inline taken_key get_key()
{
    return key_from(kt_get_key);
}

/** The sleep cycle's next key, with what it prints. */
inline taken_key pm_get_key()
{
    return key_from(kt_pm_get_key);
}

/** Likewise, without what it prints. */
inline taken_key quiet_pm_get_key()
{
    const captured_stdout unseen;
    return pm_get_key();
}

/** Both readers; neither waits for a keypad. */
inline const struct {
    const char* name;
    taken_key (*next)();
} readers[] = {{"kt_get_key", get_key}, {"kt_pm_get_key", quiet_pm_get_key}};

/** What the sleep cycle's reader prints of an event; the numbers in hexadecimal. */
inline std::string shown(const char* type, const char* code, const char* value)
{
    return "type 0x" + std::string(type) + " code 0x" + code + " value 0x" + value + "\n";
}

class keys_on_board : public testing::Test {
protected:
    void init() const
    {
        printed([] { kt_key_init(); });
    }

    /** Without GPIO buttons nothing waits. */
    void init_without_buttons()
    {
        board.remove(buttons);
        add_device(board, 0, "no buttons");
        init();
    }

    /** Puts a file in the keypad's place and opens it. */
    void init_with_file(const std::string& bytes)
    {
        remove_devices(board);
        add_file(board, 0, "Kestrel Keyboard", bytes);
        init();
    }

    own_standard_input input;
    terminal::virtual_terminal board;
};

} // namespace kt::tests
