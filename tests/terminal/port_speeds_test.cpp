/** Speeds without a code of their own, by the kernel's larger record, which the C library's headers do not show. */
#include "file_calls.h"
#include "terminal/client/virtual_terminal.h"

#include <asm/termbits.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

using namespace kt::tests;

TEST(PortSpeeds, AnySpeedIsKept)
{
    kt::terminal::virtual_terminal board;
    board.port("/dev/ttyACM7");
    const opened_file port("/dev/ttyACM7", O_RDWR);
    for (const unsigned long request : {TCSETS2, TCSETSW2, TCSETSF2}) {
        struct termios2 wanted {};
        ASSERT_EQ(ioctl(port.fd(), TCGETS2, &wanted), 0);
        wanted.c_cflag = (wanted.c_cflag & ~tcflag_t{CBAUD}) | BOTHER;
        wanted.c_ospeed = wanted.c_ispeed = 123457;
        ASSERT_EQ(ioctl(port.fd(), request, &wanted), 0);
        struct termios2 kept {};
        ASSERT_EQ(ioctl(port.fd(), TCGETS2, &kept), 0);
        EXPECT_EQ(kept.c_ospeed, 123457U);
        EXPECT_EQ(kept.c_cflag, wanted.c_cflag);
        EXPECT_EQ(board.line("/dev/ttyACM7").near.speed, 123457U);
        wanted.c_cflag = (wanted.c_cflag & ~tcflag_t{CBAUD}) | B19200;
        ASSERT_EQ(ioctl(port.fd(), request, &wanted), 0);
        ASSERT_EQ(ioctl(port.fd(), TCGETS2, &kept), 0);
        EXPECT_EQ(kept.c_ospeed, 19200U) << "a code decides";
    }
}

TEST(PortSpeeds, TheOldestFormSetsTheLowerHalves)
{
    kt::terminal::virtual_terminal board;
    board.port("/dev/ttyACM7");
    const opened_file port("/dev/ttyACM7", O_RDWR);
    struct termio wanted {};
    ASSERT_EQ(ioctl(port.fd(), TCGETA, &wanted), 0);
    EXPECT_EQ(wanted.c_lflag & ICANON, ICANON);
    wanted.c_lflag = 0;
    wanted.c_cc[VMIN] = 9;
    ASSERT_EQ(ioctl(port.fd(), TCSETAW, &wanted), 0);
    struct termios2 kept {};
    ASSERT_EQ(ioctl(port.fd(), TCGETS2, &kept), 0);
    EXPECT_EQ(kept.c_lflag, 0U);
    EXPECT_EQ(kept.c_cc[VMIN], 9);
}
