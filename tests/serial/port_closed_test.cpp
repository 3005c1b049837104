/** Ports that are closed, unknown, or asked for what does nothing. */
#include "tests/serial/ports.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <limits>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

char room[8];
int tx, rx;

struct row {
    const char* name;
    int (*call)(int port);
};
/** All but close, which tells of itself first. */
const row calls[] = {
    {"write", [](int port) { return kt_serial_write(port, "abc", 3); }},
    {"read", [](int port) { return kt_serial_read(port, room, sizeof room, 0); }},
    {"read with a negative time", [](int port) { return kt_serial_read(port, room, sizeof room, -1); }},
    {"flush", [](int port) { return kt_serial_flush(port); }},
    {"data_avail", [](int port) { return kt_serial_data_avail(port, &tx, &rx); }},
    {"get_fd", [](int port) { return kt_serial_get_fd(port); }},
};

constexpr int ports[] = {20, 21, 25, 26, 27, 60, 61, 62, 63};
constexpr int no_ports[] = {0, 1, 19, 22, 28, 59, 64, 99, -1, 256 + 26, std::numeric_limits<int>::min()};
constexpr const char* closed_line = "this serial don't init\n";

} // namespace

TEST(ClosedPort, IsToldByEveryFunction)
{
    virtual_terminal board;
    board.forget();
    tx = rx = -5;
    for (const int port : ports) {
        for (const row& each : calls)
            EXPECT_EQ(outcome_of([&] { return each.call(port); }), failed(EBADF, closed_line)) << each.name << port;
        EXPECT_EQ(outcome_of([=] { return kt_serial_close(port); }), failed(EBADF, close_line(port) + closed_line));
    }
    EXPECT_EQ(tx, -5);
    EXPECT_EQ(rx, -5);
    EXPECT_EQ(doings(board), lines{});
}

TEST(UnknownPort, IsRefusedSilentlyByEveryFunction)
{
    virtual_terminal board;
    board.forget();
    tx = rx = -5;
    for (const int port : no_ports) {
        for (const row& each : calls)
            EXPECT_EQ(outcome_of([&] { return each.call(port); }), failed(EINVAL, "")) << each.name << port;
        EXPECT_EQ(outcome_of([=] { return kt_serial_close(port); }), failed(EINVAL, close_line(port)));
    }
    EXPECT_EQ(tx, -5);
    EXPECT_EQ(rx, -5);
    EXPECT_EQ(doings(board), lines{});
}

TEST(ClosedPort, ClosesOnceAndFreesItsDescriptor)
{
    virtual_terminal board;
    const auto before = open_descriptors();
    ASSERT_EQ(open_port(26).result, 0);
    EXPECT_EQ(outcome_of([] { return kt_serial_close(26); }), (outcome{0, 0, close_line(26)}));
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(outcome_of([] { return kt_serial_close(26); }), failed(EBADF, close_line(26) + closed_line));
    EXPECT_TRUE(soon([&] { return !board.line(processor_node).open; }));
}

TEST(ClosedPort, LeavesTheOthersOpen)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    ASSERT_EQ(open_port(27).result, 0);
    const int fd = kt_serial_get_fd(27);
    EXPECT_EQ(kt_serial_close(26), 0);
    EXPECT_EQ(kt_serial_get_fd(27), fd);
    board.send("/dev/ttyS4", "$GPGGA");
    EXPECT_EQ(kt_serial_read(27, room, sizeof room, 1000), 6);
}

TEST(OpenPort, MayHaveDescriptor0)
{
    virtual_terminal board;
    const descriptor_0_free no_standard_input;
    ASSERT_EQ(kt_serial_open(26, 115200, 0, 0, 0), 0);
    EXPECT_EQ(kt_serial_get_fd(26), 0);
    ASSERT_EQ(kt_serial_open(26, 115200, 0, 0, 0), 0);
    EXPECT_EQ(kt_serial_get_fd(26), 0); // closed and given again
    EXPECT_EQ(kt_serial_write(26, "abc", 3), 3);
    EXPECT_TRUE(board.expect(processor_node, "abc"));
    EXPECT_EQ(kt_serial_close(26), 0);
    EXPECT_EQ(descriptor_target(0), "");
}

TEST(PortPlaceholder, DoesNothing)
{
    virtual_terminal board;
    board.forget();
    tx = rx = -5;
    for (const int port : {26, 20, 99}) {
        EXPECT_EQ(outcome_of([=] { return kt_serial_free_avail(port, &tx, &rx); }), (outcome{0, 0, ""}));
        EXPECT_EQ(outcome_of([=] { return kt_serial_free_avail(port, nullptr, nullptr); }), (outcome{0, 0, ""}));
        EXPECT_EQ(outcome_of([=] { return kt_serial_set_mctrl(port, 1); }), (outcome{0, 0, ""}));
        EXPECT_EQ(outcome_of([=] { return kt_serial_get_mctrl(port, &rx); }), (outcome{0, 0, ""}));
    }
    EXPECT_EQ(tx, -5);
    EXPECT_EQ(rx, -5);
    EXPECT_EQ(doings(board), lines{});
}

TEST(PortPlaceholder, HasTheNameThatItWasLinkedUnder)
{
    auto* const call = reinterpret_cast<int (*)(int, int*, int*)>(dlsym(RTLD_DEFAULT, "_Z20kt_serial_free_availiPiS_"));
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(call(26, nullptr, nullptr), 0);
    EXPECT_NE(dlsym(RTLD_DEFAULT, "_Z25restore_non_blocking_modeii"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "kt_serial_free_avail"), nullptr);
}
