/** Opening keypad and power key: what is said, opened, closed and made non-blocking, in which order. */
#include "tests/input/key_init.h"
#include "tests/input/keys.h"
#include "tests/input/node_calls.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <unistd.h>

using namespace kt::tests;

using KeyInit = key_start;
using lines = std::vector<std::string>;

TEST_F(KeyInit, FindsAndOpensTheButtonsTwiceThenTheKeypadTwice)
{
    board.forget();
    EXPECT_EQ(key_init(), found_buttons + found_keypad);
    EXPECT_EQ(doings(board), (lines{
                                 "open O_RDONLY /sys/class/input/event0/device/name",
                                 "open O_RDONLY /dev/input/event0",
                                 "open O_RDONLY /dev/input/event0",
                                 "open O_RDONLY /sys/class/input/event0/device/name",
                                 "open O_RDONLY /sys/class/input/event1/device/name",
                                 "open O_RDONLY /dev/input/event1",
                                 "open O_RDONLY /dev/input/event1",
                             }));
}

TEST_F(KeyInit, OnlyTheApplicationsButtonsBlock)
{
    key_init();
    EXPECT_EQ(blocking(buttons), first_only);
    EXPECT_EQ(blocking(keypad), neither);
}

TEST_F(KeyInit, TheFirstCallMakesStandardInputNonBlockingTheNextLeaveItAlone)
{
    ASSERT_TRUE(blocks(STDIN_FILENO));
    key_init();
    EXPECT_FALSE(blocks(STDIN_FILENO));
    make_blocking(STDIN_FILENO);
    key_init();
    EXPECT_TRUE(blocks(STDIN_FILENO));
    key_init();
    EXPECT_TRUE(blocks(STDIN_FILENO));
}

TEST_F(KeyInit, TheFirstCallsStepsInOrder)
{
    node_calls library;
    key_init();
    const lines made = library.take();
    const std::vector<int> b = descriptors_of(buttons);
    const std::vector<int> k = descriptors_of(keypad);
    ASSERT_EQ(b.size(), 2u);
    ASSERT_EQ(k.size(), 2u);
    EXPECT_EQ(made, (lines{
                        "open /dev/input/event0 = " + std::to_string(b[0]),
                        "non-blocking 0",
                        "open /dev/input/event0 = " + std::to_string(b[1]),
                        "non-blocking " + std::to_string(b[1]),
                        "open /dev/input/event1 = " + std::to_string(k[0]),
                        "non-blocking " + std::to_string(k[0]),
                        "open /dev/input/event1 = " + std::to_string(k[1]),
                        "non-blocking " + std::to_string(k[1]),
                    }));
}

TEST_F(KeyInit, LaterCallsCloseEachOldDescriptorDirectlyBeforeItsOpen)
{
    key_init();
    const std::vector<int> b = descriptors_of(buttons);
    const std::vector<int> k = descriptors_of(keypad);
    ASSERT_EQ(b.size(), 2u);
    ASSERT_EQ(k.size(), 2u);
    for (int call = 2; call <= 3; ++call) {
        for (const int fd : {b[1], k[0], k[1]})
            make_blocking(fd);
        board.forget();
        node_calls library;
        EXPECT_EQ(key_init(), found_buttons + found_keypad);
        EXPECT_EQ(library.take(), (lines{
                                      "close " + std::to_string(b[0]),
                                      "open /dev/input/event0 = " + std::to_string(b[0]),
                                      "non-blocking " + std::to_string(b[1]), // the old one: what key_pm_fd holds then
                                      "close " + std::to_string(b[1]),
                                      "open /dev/input/event0 = " + std::to_string(b[1]),
                                      "non-blocking " + std::to_string(b[1]),
                                      "close " + std::to_string(k[0]),
                                      "open /dev/input/event1 = " + std::to_string(k[0]),
                                      "non-blocking " + std::to_string(k[0]),
                                      "close " + std::to_string(k[1]),
                                      "open /dev/input/event1 = " + std::to_string(k[1]),
                                      "non-blocking " + std::to_string(k[1]),
                                  }))
            << call;
        EXPECT_EQ(blocking(buttons), first_only);
        EXPECT_EQ(blocking(keypad), neither);
    }
}

TEST_F(KeyInit, NoDescriptorIsLeftBehind)
{
    key_init();
    const std::set<int> before = open_descriptors();
    for (int call = 0; call < 20; ++call)
        key_init();
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(KeyInit, ABoardWithoutInputDevices)
{
    remove_devices(board);
    const std::set<int> before = open_descriptors();
    board.forget();
    EXPECT_EQ(key_init(), missing_line(0, "gpio_keys") + no_buttons_line + missing_line(0, "Kestrel Keyboard"));
    EXPECT_EQ(doings(board), lines{});
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(blocks(STDIN_FILENO));
    EXPECT_EQ(get_key(), no_key);
    EXPECT_EQ(pm_get_key(), no_key);
}

TEST_F(KeyInit, ABoardWithButtonsOnly)
{
    remove_devices(board);
    add_device(board, 0, "gpio_keys");
    EXPECT_EQ(key_init(), found_buttons + missing_line(1, "Kestrel Keyboard"));
    EXPECT_EQ(blocking(buttons), first_only);
    EXPECT_FALSE(blocks(STDIN_FILENO));
    board.input(buttons, {{1, 116, 1}, {1, 116, 0}});
    EXPECT_EQ(get_key(), pressed(116));
    EXPECT_EQ(get_key(), released(116));
}

TEST_F(KeyInit, ABoardWithAKeypadOnly)
{
    remove_devices(board);
    add_device(board, 0, "Kestrel Keyboard");
    EXPECT_EQ(key_init(), missing_line(1, "gpio_keys") + no_buttons_line + found_line(0, "Kestrel Keyboard"));
    EXPECT_EQ(blocking(node_of(0)), neither);
    EXPECT_TRUE(blocks(STDIN_FILENO));
    board.input(node_of(0), {{1, 28, 1}});
    EXPECT_EQ(get_key(), pressed(36));
    EXPECT_EQ(get_key(), no_key); // nothing to wait for
}

TEST_F(KeyInit, DevicesInAnotherOrderAndAmongOthers)
{
    remove_devices(board);
    add_device(board, 0, "something");
    add_device(board, 1, "the Kestrel Keyboard of this board");
    add_device(board, 2, "kt_touch");
    add_device(board, 3, "gpio_keys");
    add_device(board, 4, "gpio_keys");
    EXPECT_EQ(key_init(), found_line(3, "gpio_keys") + found_line(1, "Kestrel Keyboard"));
    EXPECT_EQ(blocking(node_of(3)), first_only);
    EXPECT_EQ(blocking(node_of(1)), neither);
    for (const int other : {0, 2, 4})
        EXPECT_EQ(blocking(node_of(other)), none);
}

TEST_F(KeyInit, DevicesBehindAGapAreNotFound)
{
    board.remove(buttons);
    EXPECT_EQ(key_init(), missing_line(0, "gpio_keys") + no_buttons_line + missing_line(0, "Kestrel Keyboard"));
    EXPECT_EQ(blocking(keypad), none);
}
