/** Finding an input device by its name: which names are read, how far, and what is said. */
#include <kt_driver/input.h>

#include "tests/input/input_board.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/failing_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

outcome probe(const char* needle)
{
    return outcome_of([&] { return kt_evdev_probe(needle); });
}

outcome found(int index, const std::string& needle)
{
    const std::string number = std::to_string(index);
    return {index, 0,
            "find /sys/class/input/event" + number + "/device/name, dev " + needle +
                "\nkt_evdev_probe dev_index=" + number + " ret=" + number + "\n"};
}

outcome missing(int index, const std::string& needle, int cause = ENOENT)
{
    return {-1, cause, "can't dev " + needle + "\nkt_evdev_probe dev_index=" + std::to_string(index) + " ret=-1\n"};
}

std::string opened(int index)
{
    return "open O_RDONLY " + name_of(index);
}

/** A board with nothing but the names that a test gives it. */
class Evdev : public testing::Test {
protected:
    Evdev() { board.remove("/sys/class/input"); }

    void named(int index, const std::string& text) { board.attribute(name_of(index), {.text = text, .mode = 0444}); }

    virtual_terminal board;
};

} // namespace

TEST_F(Evdev, NamesAreReadFrom0OnUpToTheOneThatFits)
{
    named(0, "gpio_keys\n");
    named(1, "Kestrel Keyboard\n");
    named(2, "kt_touch\n");
    named(3, "kt_touch\n");
    board.forget();
    EXPECT_EQ(probe("kt_touch"), found(2, "kt_touch")); // the first of two
    EXPECT_EQ(doings(board), (lines{opened(0), opened(1), opened(2)}));
    EXPECT_EQ(probe("gpio_keys"), found(0, "gpio_keys"));
    EXPECT_EQ(probe("Kestrel Keyboard"), found(1, "Kestrel Keyboard"));
}

TEST_F(Evdev, AnyPartOfTheNameFits)
{
    named(0, "first Kestrel Keyboard rev. 2\n");
    named(1, "touch\n");
    EXPECT_EQ(probe("Kestrel Keyboard"), found(0, "Kestrel Keyboard"));
    EXPECT_EQ(probe("rev. 2\n"), found(0, "rev. 2\n")); // the line feed is read too
    EXPECT_EQ(probe("touch"), found(1, "touch"));
    EXPECT_EQ(probe("kt_touch"), missing(2, "kt_touch"));
    EXPECT_EQ(probe("Touch"), missing(2, "Touch"));
    EXPECT_EQ(probe("rev. 2\nx"), missing(2, "rev. 2\nx"));
    EXPECT_EQ(probe(""), found(0, ""));
}

TEST_F(Evdev, ANeedleIsTextAndNoFormat)
{
    named(0, "100%s%n\n");
    EXPECT_EQ(probe("%s%n"), found(0, "%s%n"));
    EXPECT_EQ(probe("%d"), missing(1, "%d"));
}

TEST_F(Evdev, TheSearchEndsAtTheFirstGap)
{
    named(0, "gpio_keys\n");
    named(1, "Kestrel Keyboard\n");
    named(3, "kt_touch\n");
    named(4, "kt_touch\n");
    board.forget();
    EXPECT_EQ(probe("kt_touch"), missing(2, "kt_touch"));
    EXPECT_EQ(told(board, {"open", "missing"}),
              (lines{opened(0), opened(1), "missing /sys/class/input/event2 = ENOENT"}));
    named(2, "something else\n");
    EXPECT_EQ(probe("kt_touch"), found(3, "kt_touch"));
    board.remove("/sys/class/input/event0");
    EXPECT_EQ(probe("kt_touch"), missing(0, "kt_touch"));
    EXPECT_EQ(probe(""), missing(0, ""));
}

TEST_F(Evdev, ADeviceWithoutANameIsAGapToo)
{
    named(0, "gpio_keys\n");
    board.attribute("/sys/class/input/event1/device/id/bustype", {.text = "0019\n", .mode = 0444});
    named(2, "kt_touch\n");
    EXPECT_EQ(probe("kt_touch"), missing(1, "kt_touch"));
}

TEST_F(Evdev, IndexesOfSeveralDigits)
{
    for (int index = 0; index < 103; ++index)
        named(index, "number " + std::to_string(index) + ".\n");
    for (const int index : {9, 10, 11, 99, 100, 102})
        EXPECT_EQ(probe(("number " + std::to_string(index) + ".").c_str()),
                  found(index, "number " + std::to_string(index) + "."));
    EXPECT_EQ(probe("number 103."), missing(103, "number 103."));
}

TEST_F(Evdev, ANameThatCannotBeOpenedEndsTheSearch)
{
    named(0, "gpio_keys\n");
    named(1, "Kestrel Keyboard\n");
    named(2, "kt_touch\n");
    for (const int cause : {EACCES, ENODEV, EIO}) {
        const int rule = board.fail(name_of(1), {.on = "open", .error = cause});
        EXPECT_EQ(probe("kt_touch"), missing(1, "kt_touch", cause));
        EXPECT_EQ(probe("gpio_keys"), found(0, "gpio_keys"));
        board.mend(rule);
    }
    EXPECT_EQ(probe("kt_touch"), found(2, "kt_touch"));
}

TEST_F(Evdev, TheCauseOutlivesPrintsThatFail)
{
    named(0, "gpio_keys\n");
    board.fail(name_of(1), {.on = "open", .error = EACCES});
    named(1, "kt_touch\n");
    char room[32];
    int causes[2];
    {
        const failing_stdout now;
        kt_evdev_probe("kt_touch");
        causes[0] = errno;
        kt_evdev_get_node("kt_touch", room);
        causes[1] = errno;
    }
    EXPECT_EQ(causes[0], EACCES);
    EXPECT_EQ(causes[1], EACCES);
}

TEST_F(Evdev, ANameThatCannotBeReadIsEmpty)
{
    named(0, "kt_touch\n");
    named(1, "kt_touch\n");
    board.fail(name_of(0), {.on = "read", .error = EIO});
    EXPECT_EQ(probe("kt_touch"), found(1, "kt_touch"));
    EXPECT_EQ(probe(""), found(0, ""));
    named(0, "");
    board.mend_all();
    EXPECT_EQ(probe("kt_touch"), found(1, "kt_touch"));
}

TEST_F(Evdev, TheBufferIsEmptyBeforeEachName)
{
    named(0, "gpio_keys, a long name\n");
    named(1, "x\n");
    named(2, "");
    EXPECT_EQ(probe("x\n"), found(1, "x\n"));
    EXPECT_EQ(probe("a long nameless"), missing(3, "a long nameless"));
    EXPECT_EQ(probe("x\nio_keys"), missing(3, "x\nio_keys")); // nothing of the longer name is left behind the shorter
}

TEST_F(Evdev, ANameEndsAtAZeroByte)
{
    named(0, std::string("first\0second\n", 13));
    EXPECT_EQ(probe("first"), found(0, "first"));
    EXPECT_EQ(probe("second"), missing(1, "second"));
}

TEST_F(Evdev, OneReadOf255BytesIsLookedAt)
{
    const std::string needle = "needle";
    const struct {
        std::size_t before;
        bool is_found;
    } rows[] = {{0, true}, {248, true}, {249, true}, {250, false}, {254, false}, {255, false}, {1000, false}};
    for (const auto& row : rows) {
        named(0, std::string(row.before, '.') + needle + std::string(300, '.'));
        board.forget();
        EXPECT_EQ(probe("needle"), row.is_found ? found(0, needle) : missing(1, needle)) << row.before;
        const auto reads = board.events_of({"read"});
        ASSERT_EQ(reads.size(), 1u);
        EXPECT_EQ(reads[0].size, 255u);
    }
    const std::string whole(255, 'n');
    named(0, whole);
    EXPECT_EQ(probe(whole.c_str()), found(0, whole));
    named(0, whole + "n");
    EXPECT_EQ(probe((whole + "n").c_str()), missing(1, whole + "n"));
}

TEST_F(Evdev, NoDescriptorIsLeftOpen)
{
    named(0, "gpio_keys\n");
    named(1, "Kestrel Keyboard\n");
    board.fail(name_of(1), {.on = "read", .error = EIO});
    const std::set<int> before = open_descriptors();
    char node[32];
    for (int times = 0; times < 10; ++times) {
        probe("gpio_keys");
        probe("nothing");
        printed([&] { kt_evdev_get_node("gpio_keys", node); });
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Evdev, Descriptor0ServesAsWell)
{
    named(0, "gpio_keys\n");
    outcome done;
    {
        const descriptor_0_free no_standard_input;
        done = probe("gpio_keys");
        EXPECT_EQ(descriptor_target(0), "");
    }
    EXPECT_EQ(done, found(0, "gpio_keys"));
}

TEST_F(Evdev, WithoutANeedleNothingIsTouched)
{
    named(0, "gpio_keys\n");
    board.forget();
    EXPECT_EQ(probe(nullptr), (outcome{-1, EINVAL, ""}));
    EXPECT_EQ(told(board, {"open", "missing"}), lines{});
}

TEST_F(Evdev, TheNodeHasTheNumberOfTheName)
{
    for (int index = 0; index < 12; ++index)
        named(index, "number " + std::to_string(index) + ".\n");
    for (const int index : {0, 7, 11}) {
        const std::string needle = "number " + std::to_string(index) + ".";
        char room[32];
        std::fill_n(room, sizeof room, 'x');
        EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node(needle.c_str(), room); }), found(index, needle));
        EXPECT_STREQ(room, ("/dev/input/event" + std::to_string(index)).c_str());
        for (std::size_t behind = std::string(room).size() + 1; behind < sizeof room; ++behind)
            EXPECT_EQ(room[behind], 'x') << behind;
    }
}

TEST_F(Evdev, TheNodeItselfIsNotLookedAt)
{
    named(0, "gpio_keys\n");
    board.remove(buttons);
    named(0, "gpio_keys\n"); // the device took its name along
    board.forget();
    char room[32];
    EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node("gpio_keys", room); }), found(0, "gpio_keys"));
    EXPECT_STREQ(room, "/dev/input/event0");
    EXPECT_EQ(told(board, {"open", "missing"}), lines{opened(0)});
}

TEST_F(Evdev, WithoutADeviceTheRoomForTheNodeStaysAsItWas)
{
    named(0, "gpio_keys\n");
    char room[32] = "before";
    EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node("kt_touch", room); }), missing(1, "kt_touch"));
    EXPECT_STREQ(room, "before");
}

TEST_F(Evdev, ANodeWithoutNeedleOrRoomIsRefused)
{
    named(0, "gpio_keys\n");
    board.forget();
    char room[32] = "before";
    EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node(nullptr, room); }), (outcome{-1, EINVAL, ""}));
    EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node("gpio_keys", nullptr); }), (outcome{-1, EINVAL, ""}));
    EXPECT_EQ(outcome_of([&] { return kt_evdev_get_node(nullptr, nullptr); }), (outcome{-1, EINVAL, ""}));
    EXPECT_STREQ(room, "before");
    EXPECT_EQ(told(board, {"open", "missing"}), lines{});
}
