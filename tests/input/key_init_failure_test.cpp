/** Opening keypad and power key where that fails, in part or the second time. */
#include "tests/input/key_init.h"
#include "tests/input/keys.h"
#include "tests/input/node_calls.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt::tests;

using KeyInitFailure = key_start;
using lines = std::vector<std::string>;

namespace {

/** How much has gone wrong in the running test. */
int failures()
{
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

/** What one row of a table leaves behind is not the next one's start. */
template <typename Row>
void in_fresh_process(Row row)
{
    std::fflush(stdout);
    const int before = failures(); // the child has them too
    const pid_t child = fork();
    if (child == 0) {
        row();
        std::fflush(stdout);
        _exit(failures() > before ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace

TEST_F(KeyInitFailure, ANodeThatCannotBeOpened)
{
    const struct {
        const char* node;
        int skip;
        std::string text;
        std::vector<bool> of_buttons, of_keypad;
    } rows[] = {
        {buttons, 0, found_buttons + buttons_failed + found_keypad, none, neither},
        {buttons, 1, found_buttons + buttons_failed + found_keypad, {true}, neither},
        {keypad, 0, found_buttons + found_keypad + keypad_failed, first_only, none},
        {keypad, 1, found_buttons + found_keypad + keypad_failed, first_only, {false}},
    };
    for (const auto& row : rows) {
        board.fail(row.node, {.on = "open", .error = EACCES, .skip = row.skip});
        in_fresh_process([&] {
            EXPECT_EQ(key_init(), row.text);
            EXPECT_EQ(blocking(buttons), row.of_buttons);
            EXPECT_EQ(blocking(keypad), row.of_keypad);
        });
        board.mend_all();
    }
}

TEST_F(KeyInitFailure, AButtonsNodeThatFailsAtTheFirstOpenLeavesStandardInputAlone)
{
    board.fail(buttons, {.on = "open", .error = ENODEV});
    board.forget();
    EXPECT_EQ(key_init(), found_buttons + buttons_failed + found_keypad);
    EXPECT_EQ(opens_of(board, buttons), 1);
    EXPECT_TRUE(blocks(STDIN_FILENO));
    board.input(keypad, {{1, 2, 1}});
    EXPECT_EQ(get_key(), pressed(49));
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(KeyInitFailure, AButtonsNodeThatFailsAtTheSecondOpenServesTheApplicationOnly)
{
    board.fail(buttons, {.on = "open", .error = ENODEV, .skip = 1});
    EXPECT_EQ(key_init(), found_buttons + buttons_failed + found_keypad);
    EXPECT_FALSE(blocks(STDIN_FILENO));
    EXPECT_EQ(blocking(buttons), std::vector<bool>{true});
    board.input(buttons, {{1, 116, 1}});
    EXPECT_EQ(get_key(), pressed(116));
    EXPECT_EQ(pm_get_key(), no_key);
}

TEST_F(KeyInitFailure, KeysAreTranslatedOnceTheKeypadWasOpenedForBothReaders)
{
    board.fail(buttons, {.on = "open", .error = ENODEV}); // else the readers would wait
    const int rule = board.fail(keypad, {.on = "open", .error = EBUSY, .skip = 1});
    EXPECT_EQ(key_init(), found_buttons + buttons_failed + found_keypad + keypad_failed);
    board.input(keypad, {{1, 28, 1}, {1, 108, 0}});
    EXPECT_EQ(get_key(), pressed(0));
    EXPECT_EQ(get_key(), released(0));
    EXPECT_EQ(pm_get_key(), no_key);

    board.mend(rule);
    key_init();
    board.input(keypad, {{1, 28, 1}, {1, 108, 0}});
    EXPECT_EQ(get_key(), pressed(36));
    EXPECT_EQ(get_key(), released(108));

    board.fail(keypad, {.on = "open", .error = EBUSY, .skip = 1});
    key_init(); // the table stays
    board.input(keypad, {{1, 28, 1}});
    EXPECT_EQ(get_key(), pressed(36));
}

TEST_F(KeyInitFailure, AnotherCallWhoseFirstOpenFailsLeavesTheSecondReader)
{
    key_init();
    const std::vector<int> b = descriptors_of(buttons);
    const std::vector<int> k = descriptors_of(keypad);
    ASSERT_EQ(b.size(), 2u);
    ASSERT_EQ(k.size(), 2u);
    board.fail("/dev/input/*", {.on = "open", .error = EIO});
    node_calls library;
    EXPECT_EQ(key_init(), found_buttons + buttons_failed + found_keypad + keypad_failed);
    EXPECT_EQ(library.take(), (lines{
                                  "close " + std::to_string(b[0]),
                                  "open /dev/input/event0 = -1",
                                  "close " + std::to_string(k[0]),
                                  "open /dev/input/event1 = -1",
                              }));
    board.input(buttons, {{1, 116, 1}});
    EXPECT_EQ(get_key(), no_key);
    EXPECT_EQ(quiet_pm_get_key(), pressed(116));

    board.mend_all();
    key_init();
    EXPECT_EQ(blocking(buttons), first_only);
    EXPECT_EQ(blocking(keypad), neither);
}

TEST_F(KeyInitFailure, AnotherCallWhoseSecondOpenFailsTakesTheSecondReaderAway)
{
    key_init();
    const std::vector<int> b = descriptors_of(buttons);
    ASSERT_EQ(b.size(), 2u);
    board.fail(buttons, {.on = "open", .error = EIO, .skip = 1});
    board.fail(keypad, {.on = "open", .error = EIO, .skip = 1});
    EXPECT_EQ(key_init(), found_buttons + buttons_failed + found_keypad + keypad_failed);
    EXPECT_EQ(blocking(buttons), std::vector<bool>{true});
    EXPECT_EQ(blocking(keypad), std::vector<bool>{false});

    // The second reader's descriptor is -1 now, which nobody closes and nobody makes non-blocking.
    board.mend_all();
    make_blocking(STDIN_FILENO);
    key_init();
    EXPECT_TRUE(blocks(STDIN_FILENO));
    EXPECT_EQ(blocking(buttons), first_only);
    EXPECT_EQ(blocking(keypad), neither);
}

TEST_F(KeyInitFailure, AnotherCallThatFindsNothingLeavesAllOpen)
{
    key_init();
    const std::set<int> before = open_descriptors();
    board.remove("/sys/class/input/event0");
    node_calls library;
    EXPECT_EQ(key_init(), missing_line(0, "gpio_keys") + no_buttons_line + missing_line(0, "Kestrel Keyboard"));
    EXPECT_EQ(library.take(), lines{});
    EXPECT_EQ(open_descriptors(), before);
    board.input(buttons, {{1, 116, 1}});
    EXPECT_EQ(get_key(), pressed(116));
}

TEST_F(KeyInitFailure, Descriptor0CountsAsFailureAndStaysOpen)
{
    const struct {
        int open; /**< The one that gets descriptor 0. */
        const char* node;
        std::string text;
        std::size_t of_buttons, of_keypad; /**< How many descriptors there are afterwards. */
    } rows[] = {
        {1, buttons, found_buttons + buttons_failed + found_keypad, 1, 2},
        {2, buttons, found_buttons + buttons_failed + found_keypad, 2, 2},
        {3, keypad, found_buttons + found_keypad + keypad_failed, 2, 1},
        {4, keypad, found_buttons + found_keypad + keypad_failed, 2, 2},
    };
    for (const auto& row : rows) {
        in_fresh_process([&] {
            node_calls library;
            library.before_open(row.open, [] { close(STDIN_FILENO); });
            const std::string text = key_init();
            library.take();
            EXPECT_EQ(text, row.text);
            EXPECT_EQ(descriptor_target(STDIN_FILENO), row.node);
            EXPECT_TRUE(blocks(STDIN_FILENO));
            EXPECT_EQ(descriptors_of(buttons).size(), row.of_buttons);
            EXPECT_EQ(descriptors_of(keypad).size(), row.of_keypad);
        });
    }
}

TEST_F(KeyInitFailure, Descriptor0OfTheButtonsIsNotReadAndNotClosedLater)
{
    {
        const std::string text = printed([] {
            close(STDIN_FILENO);
            kt_key_init();
        });
        EXPECT_EQ(text, found_buttons + buttons_failed + found_keypad);
    }
    ASSERT_EQ(descriptor_target(STDIN_FILENO), buttons);
    EXPECT_TRUE(blocks(STDIN_FILENO));
    board.input(buttons, {{1, 116, 1}});
    EXPECT_EQ(get_key(), no_key); // and does not wait
    EXPECT_EQ(pm_get_key(), no_key);

    board.forget();
    EXPECT_EQ(key_init(), found_buttons + found_keypad);
    EXPECT_EQ(descriptor_target(STDIN_FILENO), buttons);
    EXPECT_FALSE(blocks(STDIN_FILENO)); // the second reader had 0 still
    EXPECT_EQ(descriptors_of(buttons).size(), 3u);
}
