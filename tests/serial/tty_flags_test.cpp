/** kt_tty_control: what becomes of each flag, the switches of the record, and the timing of reads. */
#include "tests/serial/tty_line.h"

#include <limits>

using namespace kt::tests;

namespace {

using TtyFlags = tty_line;

} // namespace

TEST_F(TtyFlags, FromAllFlagsOnItLeavesThoseOfNoConcernOn)
{
    line_settings start = everything(true);
    start.characters = settings_of(fd).characters;
    for (std::size_t i = 0; i < start.characters.size(); ++i)
        start.characters[i] = static_cast<unsigned char>(i + 100);
    set_settings(fd, start);

    line_settings expected = start;
    expected.input = IGNPAR | INPCK | IGNBRK;
    expected.output = ONLCR | OCRNL | ONOCR | ONLRET | OFILL | OFDEL;
    expected.local = ECHOK | ECHONL | NOFLSH | TOSTOP | ECHOCTL | ECHOKE | IEXTEN;
    expected.control = B115200 | CS8 | CREAD | CLOCAL | HUPCL | PARODD; // that one says nothing without PARENB
    expected.characters[VMIN] = 1;
    expected.characters[VTIME] = 0;
    EXPECT_EQ(set(), expected);
}

TEST_F(TtyFlags, FromAllFlagsOffItSetsNoOthers)
{
    line_settings start = everything(false);
    start.characters = settings_of(fd).characters;
    set_settings(fd, start);

    line_settings expected = start;
    expected.input = IGNPAR | INPCK | IGNBRK;
    expected.control = B115200 | CS8 | CREAD | CLOCAL | HUPCL;
    expected.characters[VMIN] = 1;
    expected.characters[VTIME] = 0;
    EXPECT_EQ(set(), expected);
}

TEST_F(TtyFlags, WithoutParityTheKindOfParityStaysAsItWas)
{
    params.paritymode = "odd";
    EXPECT_EQ(set().control & (PARENB | PARODD), static_cast<unsigned>(PARENB | PARODD));
    params.paritymode = "none";
    EXPECT_EQ(set().control & (PARENB | PARODD), static_cast<unsigned>(PARODD));
    params.paritymode = nullptr;
    EXPECT_EQ(set().control & (PARENB | PARODD), static_cast<unsigned>(PARODD));
    params.paritymode = "even";
    EXPECT_EQ(set().control & (PARENB | PARODD), static_cast<unsigned>(PARENB));
    params.paritymode = "none";
    EXPECT_EQ(set().control & (PARENB | PARODD), 0u);
}

TEST_F(TtyFlags, EachSwitchOfTheRecordHasItsFlag)
{
    const line_settings plain = set();
    const auto expect_changed = [&](unsigned control_on, unsigned control_off, unsigned input_on, unsigned input_off) {
        line_settings expected = plain;
        expected.control = (plain.control | control_on) & ~control_off;
        expected.input = (plain.input | input_on) & ~input_off;
        EXPECT_EQ(set(), expected);
    };
    for (const int yes : {1, -1, 256, std::numeric_limits<int>::min()}) {
        const kt_tty_params before = params;
        params.rtscts = yes;
        expect_changed(CRTSCTS, 0, 0, 0);
        params = before;
        params.ixoff = yes;
        expect_changed(0, 0, IXOFF, 0);
        params = before;
        params.ixon = yes;
        expect_changed(0, 0, IXON, 0);
        params = before;
        params.modem_lines = yes;
        expect_changed(0, CLOCAL, 0, IGNBRK);
        params = before;
        params.cread = yes;
        expect_changed(0, 0, 0, 0);
        params = before;
    }
    params.hwflow = 255;
    expect_changed(CRTSCTS, 0, 0, 0);
    params.rtscts = 1;
    expect_changed(CRTSCTS, 0, 0, 0);
    params.rtscts = params.hwflow = 0;
    expect_changed(0, 0, 0, 0);
    params.cread = 0;
    expect_changed(0, CREAD, 0, 0);
}

TEST_F(TtyFlags, ReservedWordsAndTheRecordItselfMeanNothingAndStay)
{
    const line_settings plain = set();
    params.reserved_1[0] = params.reserved_1[1] = params.reserved_2 = params.reserved_3 = 0xFFFFFFFF;
    const kt_tty_params before = params;
    EXPECT_EQ(set(), plain);
    EXPECT_EQ(params.baudrate, before.baudrate);
    EXPECT_EQ(params.reserved_1[1], 0xFFFFFFFFu);
    EXPECT_EQ(params.vmin, before.vmin);
    EXPECT_EQ(params.timeout_ms, before.timeout_ms);
}

TEST_F(TtyFlags, ReadTiming)
{
    const struct {
        int timeout_ms;
        unsigned vmin;
        int vtime_set, vmin_set;
    } rows[] = {
        {0, 0, 0, 0},
        {99, 0, 0, 0},
        {100, 0, 1, 0},
        {1500, 0, 15, 0},
        {1500, 7, 15, 7},
        {1599, 255, 15, 255},
        {1500, 256, 15, 255},
        {1500, 300, 15, 255},
        {1500, 0xFFFFFFFF, 15, 255},
        {25500, 1, 255, 1},
        {25599, 1, 255, 1},
        {25600, 1, 0, 1}, // one byte: it wraps
        {25700, 1, 1, 1},
        {51300, 1, 1, 1},
        {2147483647, 1, 20, 1},
        {-1, 0, 0, 1},
        {-1, 1, 0, 1},
        {-1, 5, 0, 5},
        {-1, 255, 0, 255},
        {-1, 256, 0, 255},
        {-1, 300, 0, 255},
        {-1500, 0, 0, 1},
        {std::numeric_limits<int>::min(), 0xFFFFFFFF, 0, 255},
    };
    for (const auto& [timeout_ms, vmin, vtime_set, vmin_set] : rows) {
        params.timeout_ms = timeout_ms;
        params.vmin = vmin;
        const line_settings now = set();
        EXPECT_EQ(now.characters[VTIME], vtime_set) << timeout_ms << ' ' << vmin;
        EXPECT_EQ(now.characters[VMIN], vmin_set) << timeout_ms << ' ' << vmin;
    }
}
