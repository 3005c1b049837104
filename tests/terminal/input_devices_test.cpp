/** Which input devices a program finds, what they say of themselves, and what fingers do to them. */
#include "input_calls.h"
#include "port_calls.h"

#include <linux/input.h>
#include <sys/wait.h>

using namespace kt::tests;

namespace {

class input_devices : public testing::Test {
protected:
    /** What a device's attribute shows, or the error. */
    static std::string attribute(int index, const std::string& name)
    {
        return shown("/sys/class/input/event" + std::to_string(index) + "/device/" + name);
    }

    static std::string id_of(int index)
    {
        return attribute(index, "id/bustype") + attribute(index, "id/vendor") + attribute(index, "id/product") +
               attribute(index, "id/version");
    }

    /** In the panel's place: one whose bus is that of a resistive one. */
    void fit_resistive_panel()
    {
        board.remove(panel_node);
        EXPECT_EQ(board.exchange(R"({"op":"input_device","path":"/dev/input/event2","name":"kt_touch","bus":25})"),
                  R"({"ok":true})");
    }

    kt::terminal::virtual_terminal board;
};

using InputDevices = input_devices;

} // namespace

TEST_F(InputDevices, TheBoardHasButtonsKeypadAndPanel)
{
    EXPECT_EQ(attribute(0, "name"), "gpio_keys\n");
    EXPECT_EQ(id_of(0), "0019\n0001\n0001\n0100\n");
    EXPECT_EQ(attribute(1, "name"), "Kestrel Keyboard\n");
    EXPECT_EQ(id_of(1), "0019\n0001\n0001\n0100\n");
    EXPECT_EQ(attribute(2, "name"), "kt_touch\n");
    EXPECT_EQ(id_of(2), "0018\n0000\n0000\n0000\n");
    EXPECT_EQ(attribute(3, "name"), "<ENOENT>");
    EXPECT_EQ(mode_of("/sys/class/input/event0/device/name") & 0777, 0444U);
    for (const char* node : {buttons_node, keypad_node, panel_node})
        EXPECT_EQ(open_error(node, O_RDONLY), 0);
}

TEST_F(InputDevices, UnpluggingTakesTheAttributesAway)
{
    ASSERT_TRUE(exists("/sys/class/input/event1/device/id/bustype"));
    board.remove(keypad_node);
    EXPECT_FALSE(exists("/sys/class/input/event1"));
    EXPECT_FALSE(exists(keypad_node));
    EXPECT_TRUE(exists("/sys/class/input/event0/device/name"));
    EXPECT_TRUE(exists("/sys/class/input/event2/device/name"));
}

TEST_F(InputDevices, DevicesCanBePluggedInAtAnyIndexAndAreFoundByName)
{
    board.remove(keypad_node);
    ASSERT_EQ(
        board.exchange(
            R"({"op":"input_device","path":"/dev/input/event12","name":"Kestrel Keyboard","bus":24,"vendor":43981,"product":1,"version":65535})"),
        R"({"ok":true})");
    EXPECT_EQ(attribute(12, "name"), "Kestrel Keyboard\n");
    EXPECT_EQ(id_of(12), "0018\nabcd\n0001\nffff\n");
    const opened_file keypad("/dev/input/event12", O_RDONLY | O_NONBLOCK);
    board.press("enter");
    EXPECT_EQ(events_in(read_now(keypad.fd(), 640).bytes), (seen_events{{1, 28, 1}, report_end}));

    board.exchange(R"({"op":"input_device","path":"/dev/input/event5","name":"Kestrel Keyboard"})");
    const opened_file nearer("/dev/input/event5", O_RDONLY | O_NONBLOCK);
    board.press("esc");
    EXPECT_EQ(events_in(read_now(nearer.fd(), 640).bytes), (seen_events{{1, 1, 1}, report_end}));
    EXPECT_EQ(read_now(keypad.fd(), 640), failed(EAGAIN)) << "the first of a name is the one that is meant";
}

TEST_F(InputDevices, APluggedInDeviceHasNothingOfTheOneBefore)
{
    const opened_file old(keypad_node, O_RDONLY | O_NONBLOCK);
    board.remove(keypad_node);
    ASSERT_EQ(board.exchange(R"({"op":"input_device","path":"/dev/input/event1","name":"Kestrel Keyboard"})"),
              R"({"ok":true})");
    const opened_file fresh(keypad_node, O_RDONLY | O_NONBLOCK);
    board.press("1");
    EXPECT_EQ(read_now(old.fd(), 640), failed(ENODEV));
    EXPECT_EQ(read_now(fresh.fd(), 640).count, 32U);
    EXPECT_EQ(attribute(1, "id/bustype"), "0000\n");
}

TEST_F(InputDevices, AHeldKeyRepeatsAsTheKernelMakesIt)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.hold_key("down", 400ms); // repeats after 250, 283, 316, 349 and 382 ms
    const std::string bytes = read_now(keypad.fd(), 1024).bytes;
    EXPECT_EQ(events_in(bytes), (seen_events{{1, 108, 1},
                                             report_end,
                                             {1, 108, 2},
                                             report_end,
                                             {1, 108, 2},
                                             report_end,
                                             {1, 108, 2},
                                             report_end,
                                             {1, 108, 2},
                                             report_end,
                                             {1, 108, 2},
                                             report_end,
                                             {1, 108, 0},
                                             report_end}));
    ASSERT_EQ(bytes.size(), 14U * 16);
    EXPECT_GE(time_at(bytes, 2) - time_at(bytes, 0), 0.249);
    EXPECT_GE(time_at(bytes, 12) - time_at(bytes, 0), 0.399);
}

TEST_F(InputDevices, AKeyHeldBrieflyDoesNotRepeat)
{
    const opened_file keypad(keypad_node, O_RDONLY | O_NONBLOCK);
    board.hold_key("down", 250ms);
    board.hold_key("up", 0ms);
    EXPECT_EQ(events_in(read_now(keypad.fd(), 1024).bytes),
              (seen_events{
                  {1, 108, 1}, report_end, {1, 108, 0}, report_end, {1, 103, 1}, report_end, {1, 103, 0}, report_end}));
}

TEST_F(InputDevices, AHeldKeyGoesUpWhenWhoHoldsItGoesAway)
{
    const opened_file buttons(buttons_node, O_RDONLY);
    const pid_t holder = fork();
    if (holder == 0) {
        kt::terminal::virtual_terminal hand;
        hand.hold_key("power", 100s);
        _exit(0);
    }
    EXPECT_EQ(events_in(read_now(buttons.fd(), 16).bytes), (seen_events{{1, 116, 1}}));
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    seen_event last{1, 116, 1};
    while (last == (seen_event{1, 116, 1}) || last == (seen_event{1, 116, 2}) || last == report_end)
        last = event_at(read_now(buttons.fd(), 16).bytes, 0);
    EXPECT_EQ(last, (seen_event{1, 116, 0}));
}

TEST_F(InputDevices, ACapacitivePanelReportsATap)
{
    const opened_file panel(panel_node, O_RDONLY | O_NONBLOCK);
    board.tap(100, 200);
    EXPECT_EQ(events_in(read_now(panel.fd(), 1024).bytes),
              (seen_events{{1, 330, 1}, {3, 53, 100}, {3, 54, 200}, report_end, {1, 330, 0}, report_end}));
}

TEST_F(InputDevices, ACapacitivePanelReportsADrag)
{
    const opened_file panel(panel_node, O_RDONLY | O_NONBLOCK);
    board.exchange(R"({"op":"drag","from":[10,300],"to":[40,0],"steps":3})");
    EXPECT_EQ(events_in(read_now(panel.fd(), 1024).bytes), (seen_events{{1, 330, 1},
                                                                        {3, 53, 10},
                                                                        {3, 54, 300},
                                                                        report_end,
                                                                        {3, 53, 20},
                                                                        {3, 54, 200},
                                                                        report_end,
                                                                        {3, 53, 30},
                                                                        {3, 54, 100},
                                                                        report_end,
                                                                        {3, 53, 40},
                                                                        {3, 54, 0},
                                                                        report_end,
                                                                        {1, 330, 0},
                                                                        report_end}));
    board.drag(0, 0, 8, 80); // in eight steps
    EXPECT_EQ(read_now(panel.fd(), 1024).count, (4U + 8 * 3 + 2) * 16);
}

TEST_F(InputDevices, ADragCanTakeItsTime)
{
    const opened_file panel(panel_node, O_RDONLY | O_NONBLOCK);
    board.exchange(R"({"op":"drag","from":[0,0],"to":[2,2],"steps":2,"ms":200})");
    const std::string bytes = read_now(panel.fd(), 1024).bytes;
    ASSERT_EQ(bytes.size(), 12U * 16);
    EXPECT_GE(time_at(bytes, 4) - time_at(bytes, 0), 0.099);
    EXPECT_GE(time_at(bytes, 11) - time_at(bytes, 0), 0.199);
}

TEST_F(InputDevices, AResistivePanelReportsOnlyWhileItIsSampled)
{
    fit_resistive_panel();
    EXPECT_EQ(attribute(2, "id/bustype"), "0019\n");
    const opened_file panel(panel_node, O_RDONLY | O_NONBLOCK);
    board.tap(100, 200);
    board.drag(1, 1, 2, 2);
    EXPECT_EQ(read_now(panel.fd(), 1024), failed(EAGAIN));
    board.input(panel_node, {{3, 0, 7}, {0, 0, 0}});
    EXPECT_EQ(events_in(read_now(panel.fd(), 1024).bytes), (seen_events{{3, 0, 7}, report_end}));

    ASSERT_EQ(put("/sys/class/kt_misc/touch/touch_start", "1"), 0);
    board.tap(100, 200);
    seen_events tapped = events_in(read_now(panel.fd(), 1024).bytes);
    ASSERT_EQ(tapped.size(), 6U);
    EXPECT_GT(tapped[2].value, 0);
    tapped[2].value = 1; // any pressure
    EXPECT_EQ(tapped, (seen_events{{3, 0, 100}, {3, 1, 200}, {3, 24, 1}, report_end, {3, 24, 0}, report_end}));

    board.exchange(R"({"op":"drag","from":[10,300],"to":[40,0],"steps":1})");
    seen_events dragged = events_in(read_now(panel.fd(), 1024).bytes);
    ASSERT_EQ(dragged.size(), 10U);
    EXPECT_EQ(dragged[2].value, dragged[6].value);
    const int firm = dragged[2].value;
    EXPECT_EQ(dragged, (seen_events{{3, 0, 10},
                                    {3, 1, 300},
                                    {3, 24, firm},
                                    report_end,
                                    {3, 0, 40},
                                    {3, 1, 0},
                                    {3, 24, firm},
                                    report_end,
                                    {3, 24, 0},
                                    report_end}));

    ASSERT_EQ(put("/sys/class/kt_misc/touch/touch_start", "4294967296"), 0); // not 0 either
    board.tap(100, 200);
    EXPECT_EQ(events_in(read_now(panel.fd(), 1024).bytes).size(), 6U);
}

TEST_F(InputDevices, ADeviceTellsWhoItIs)
{
    const opened_file buttons(buttons_node, O_RDONLY);
    int version = 0;
    ASSERT_EQ(ioctl(buttons.fd(), EVIOCGVERSION, &version), 0);
    EXPECT_EQ(version, 0x010001);
    input_id id{};
    ASSERT_EQ(ioctl(buttons.fd(), EVIOCGID, &id), 0);
    EXPECT_EQ(id.bustype, 0x19);
    EXPECT_EQ(id.vendor, 1);
    EXPECT_EQ(id.product, 1);
    EXPECT_EQ(id.version, 0x100);
    char name[256] = "";
    EXPECT_EQ(ioctl(buttons.fd(), EVIOCGNAME(sizeof name), name), 10); // the NUL is counted
    EXPECT_STREQ(name, "gpio_keys");
    char start[] = "########";
    EXPECT_EQ(ioctl(buttons.fd(), EVIOCGNAME(4), start), 4);
    EXPECT_STREQ(start, "gpio####");
}

TEST_F(InputDevices, ADeviceTellsWhatItCanReport)
{
    const auto bits = [](const char* node, unsigned type, std::size_t size) {
        const opened_file device(node, O_RDONLY);
        std::vector<unsigned char> all(size);
        const int length =
            ioctl(device.fd(), _IOC(_IOC_READ, 'E', 0x20 + type, static_cast<unsigned>(size)), all.data());
        EXPECT_GE(length, 0) << node << " " << type << ": " << strerror(errno);
        std::vector<unsigned> set;
        for (unsigned bit = 0; bit < 8 * size; ++bit)
            if ((all[bit / 8] >> bit % 8 & 1) != 0)
                set.push_back(bit);
        return set;
    };
    using numbers = std::vector<unsigned>;
    EXPECT_EQ(bits(buttons_node, 0, 8), (numbers{0, 1, 20}));
    EXPECT_EQ(bits(buttons_node, EV_KEY, 96), (numbers{116}));
    EXPECT_EQ(bits(keypad_node, 0, 8), (numbers{0, 1, 20}));
    EXPECT_EQ(bits(keypad_node, EV_KEY, 96),
              (numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 28, 52, 53, 59, 60, 103, 108, 111, 116}));
    EXPECT_EQ(bits(keypad_node, EV_KEY, 1), (numbers{1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(bits(panel_node, 0, 8), (numbers{0, 1, 3}));
    EXPECT_EQ(bits(panel_node, EV_KEY, 96), (numbers{330}));
    EXPECT_EQ(bits(panel_node, EV_ABS, 8), (numbers{53, 54}));
    fit_resistive_panel();
    EXPECT_EQ(bits(panel_node, 0, 8), (numbers{0, 3}));
    EXPECT_EQ(bits(panel_node, EV_ABS, 8), (numbers{0, 1, 24}));

    const opened_file keypad(keypad_node, O_RDONLY);
    unsigned char all[96];
    EXPECT_EQ(ioctl(keypad.fd(), EVIOCGBIT(EV_KEY, sizeof all), all), 96); // up to KEY_MAX, in whole words
    EXPECT_EQ(ioctl(keypad.fd(), EVIOCGBIT(EV_REP, sizeof all), all), -1); // a type without codes
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(InputDevices, APanelTellsTheRangeOfItsAxes)
{
    fit_resistive_panel();
    board.input(panel_node, {{3, 0, 1234}, {0, 0, 0}});
    const opened_file panel(panel_node, O_RDONLY);
    input_absinfo axis{};
    ASSERT_EQ(ioctl(panel.fd(), EVIOCGABS(ABS_X), &axis), 0);
    EXPECT_EQ(axis.value, 1234);
    EXPECT_EQ(axis.minimum, 0);
    EXPECT_EQ(axis.maximum, 4095);
    ASSERT_EQ(ioctl(panel.fd(), EVIOCGABS(ABS_Z), &axis), 0);
    EXPECT_EQ(axis.maximum, 0) << "an axis that it has not";
    const opened_file keypad(keypad_node, O_RDONLY);
    EXPECT_EQ(ioctl(keypad.fd(), EVIOCGABS(ABS_X), &axis), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(InputDevices, WhoHasGrabbedADeviceIsTheOnlyReader)
{
    const opened_file other(keypad_node, O_RDONLY | O_NONBLOCK);
    int any = 1;
    {
        const opened_file grabber(keypad_node, O_RDONLY | O_NONBLOCK);
        ASSERT_EQ(ioctl(grabber.fd(), EVIOCGRAB, &any), 0);
        EXPECT_EQ(ioctl(other.fd(), EVIOCGRAB, &any), -1);
        EXPECT_EQ(errno, EBUSY);
        board.press("1");
        EXPECT_EQ(read_now(grabber.fd(), 64).count, 32U);
        EXPECT_EQ(read_now(other.fd(), 64), failed(EAGAIN));
    }
    for (int i = 0; i < 1000 && ioctl(other.fd(), EVIOCGRAB, &any) != 0;
         ++i) // the board hears of a close a moment later
        std::this_thread::sleep_for(5ms);
    board.press("2");
    EXPECT_EQ(read_now(other.fd(), 64).count, 32U);
}

TEST_F(InputDevices, AGrabByNumberFails)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    EXPECT_EQ(ioctl(keypad.fd(), EVIOCGRAB, 1), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST_F(InputDevices, OtherRequestsAreRefused)
{
    const opened_file keypad(keypad_node, O_RDONLY);
    char record[256];
    for (const unsigned long number : {static_cast<unsigned long>(TCGETS), static_cast<unsigned long>(TIOCGWINSZ),
                                       static_cast<unsigned long>(EVIOCGBIT(EV_MAX, 8))}) {
        EXPECT_EQ(ioctl(keypad.fd(), number, record), -1) << number;
        EXPECT_EQ(errno, EINVAL) << number;
    }
    board.remove(keypad_node);
    EXPECT_EQ(ioctl(keypad.fd(), EVIOCGID, record), -1);
    EXPECT_EQ(errno, ENODEV);
}
