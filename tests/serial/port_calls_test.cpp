/** The opens of the ports as the kernel is asked, which shows flags that no device is told of. */
#include "tests/serial/ports.h"
#include "tests/serial/watched_calls.h"

#include "terminal/client/virtual_terminal.h"

#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

/** The nodes that opening a port asks for; "open O_RDWR NODE" when with no other flag. */
lines opens_for(int port)
{
    lines found;
    watched_calls library;
    (void)kt_serial_open(port, 115200, 0, 0, 0);
    for (const std::string& call : library.take()) {
        if (call.starts_with("open ") && call.find(" /dev/") != std::string::npos)
            found.push_back(call);
    }
    return found;
}

} // namespace

TEST(PortCalls, NodesAreOpenedWithNoFlagButReadAndWrite)
{
    virtual_terminal board;
    EXPECT_EQ(opens_for(20), lines{"open O_RDWR /dev/ttyGS0"});
    EXPECT_EQ(opens_for(60), lines{"open O_RDWR /dev/ttyGS0"});
    EXPECT_EQ(opens_for(21), lines{"open O_RDWR /dev/chn/3"});
    EXPECT_EQ(opens_for(25), lines{"open O_RDWR /dev/ttyS5"});
    EXPECT_EQ(opens_for(26), lines{"open O_RDWR /dev/sp_uart0"});
    EXPECT_EQ(opens_for(27), lines{"open O_RDWR /dev/ttyS4"});
    EXPECT_EQ(opens_for(61), lines{"open O_RDWR /dev/ttyUSB0"});
    EXPECT_EQ(opens_for(62), lines{"open O_RDWR /dev/ttyUSB1"});
    lines all;
    for (int number = 0; number < 32; ++number)
        all.push_back("open O_RDWR /dev/ttyACM" + std::to_string(number));
    EXPECT_EQ(opens_for(63), all);

    board.attribute(route_attribute, {.text = "2\n"});
    EXPECT_EQ(opens_for(20), (lines{"open O_RDWR /dev/ttyACM0", "open O_RDWR /dev/ttyUSB0"}));
}
