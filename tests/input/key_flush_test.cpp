/** Dropping pending keys, for either reader. */
#include <kt_driver/input.h>

#include "tests/input/input_board.h"
#include "tests/input/keys.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/in_thread.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

namespace {

constexpr auto shortly = 50ms;
constexpr std::chrono::milliseconds long_enough = 20s;

std::vector<std::string> paths_read(virtual_terminal& board)
{
    std::vector<std::string> paths;
    for (const event& each : board.events_of({"read"}))
        paths.push_back(each.path.substr(each.path.rfind('/') + 1) + (each.error.empty() ? "" : ' ' + each.error));
    return paths;
}

class KeyFlush : public keys_on_board {
protected:
    void press_some()
    {
        board.input(buttons, {{1, 116, 1}, {1, 116, 0}});
        board.input(keypad, {{1, 28, 1}, {0, 0, 0}, {1, 28, 0}});
    }
};

using paths = std::vector<std::string>;

/** Waits for as many reads; false: the flush ended before, or they never came. */
bool has_read(virtual_terminal& board, const in_thread<int>& flush, std::size_t count)
{
    for (auto left = long_enough; left > 0ms; left -= shortly) {
        if (paths_read(board).size() >= count)
            return true;
        if (flush.ends_within(shortly))
            return false;
    }
    return false;
}

} // namespace

TEST_F(KeyFlush, TheSleepCyclesDropsTheButtonsThenTheKeypadAndReturns)
{
    init();
    press_some();
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_pm_key_flush(); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(paths_read(board),
              (paths{"event0", "event0", "event0 EAGAIN", "event1", "event1", "event1", "event1 EAGAIN"}));
    EXPECT_EQ(printed(pm_get_key), "");
    for (const taken_key& key : {pressed(36), released(36), pressed(116), released(116)})
        EXPECT_EQ(get_key(), key); // the application's own are all there
}

TEST_F(KeyFlush, TheApplicationsWaitsForFurtherButtonsUntilASignal)
{
    let_signals_interrupt();
    init();
    press_some();
    board.forget();
    in_thread<int> waiting(kt_key_flush);
    EXPECT_TRUE(has_read(board, waiting, 2));
    board.press("power"); // is dropped, and the waiting goes on
    EXPECT_TRUE(has_read(board, waiting, 4));
    EXPECT_FALSE(waiting.ends_within(shortly));
    do
        waiting.interrupt();
    while (!waiting.ends_within(1s)); // it was not waiting yet
    EXPECT_EQ(waiting.result(), 0);
    EXPECT_EQ(paths_read(board), (paths{"event0", "event0", "event0", "event0", "event0 EINTR", "event1", "event1",
                                        "event1", "event1 EAGAIN"}));

    board.input(buttons, {{1, 116, 0}});
    EXPECT_EQ(get_key(), released(116));
    for (const taken_key& key : {pressed(36), released(36), pressed(116), released(116), pressed(116)})
        EXPECT_EQ(quiet_pm_get_key(), key); // the other reader's are all there
}

TEST_F(KeyFlush, TheApplicationsEndsWhenTheButtonsAreUnplugged)
{
    init();
    press_some();
    in_thread<int> waiting(kt_key_flush);
    EXPECT_FALSE(waiting.ends_within(shortly));
    board.remove(buttons);
    ASSERT_TRUE(waiting.ends_within(long_enough));
    EXPECT_EQ(waiting.result(), 0);
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(KeyFlush, WithoutButtonsTheApplicationsReturns)
{
    init_without_buttons();
    board.input(keypad, {{1, 28, 1}, {1, 28, 0}});
    board.forget();
    EXPECT_EQ(printed([] { kt_key_flush(); }), "");
    EXPECT_EQ(paths_read(board), (paths{"event1", "event1", "event1 EAGAIN"}));
    EXPECT_EQ(get_key(), no_key);
}

TEST_F(KeyFlush, ReadersThatFailedToOpenAreLeftOut)
{
    board.fail("/dev/input/*", {.on = "open", .error = EIO});
    init(); // descriptors of -1
    board.forget();
    errno = 0;
    EXPECT_EQ(kt_key_flush(), 0);
    EXPECT_EQ(kt_pm_key_flush(), 0);
    EXPECT_EQ(errno, 0); // no read was tried in vain
    EXPECT_EQ(paths_read(board), paths{});
}

TEST_F(KeyFlush, EndsAtAFilesEnd)
{
    const std::string bytes = record_of({1, 116, 1}) + record_of({1, 28, 1}) + "short";
    remove_devices(board);
    add_file(board, 0, "gpio_keys", bytes);
    add_file(board, 1, "Kestrel Keyboard", bytes);
    init();
    for (const auto flush : {kt_key_flush, kt_pm_key_flush}) {
        board.forget();
        EXPECT_EQ(flush(), 0);
        EXPECT_EQ(paths_read(board),
                  (paths{"event0", "event0", "event0", "event0", "event1", "event1", "event1", "event1"}));
    }
    EXPECT_EQ(get_key(), no_key);
    EXPECT_EQ(pm_get_key(), no_key);
}

TEST_F(KeyFlush, AFailedReadIsTheEndOfTheOneAndNotOfTheOther)
{
    init();
    press_some();
    board.fail(buttons, {.on = "read", .error = EIO});
    board.forget();
    EXPECT_EQ(kt_key_flush(), 0);
    EXPECT_EQ(paths_read(board), (paths{"event0 EIO", "event1", "event1", "event1", "event1 EAGAIN"}));
}
