/** The fixture of the tests that set a line, and the settings that they start from. */
#pragma once

#include <kt_driver/tty.h>

#include "tests/serial/line_requests.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kt::tests {

inline constexpr const char* tty_node = "/dev/sp_uart0";

/** An open line and a plain record: 115200 bit/s, 8 bits, no parity, one stop bit, receiver on. */
class tty_line : public testing::Test {
protected:
    void SetUp() override
    {
        fd = open(tty_node, O_RDWR | O_NOCTTY);
        ASSERT_GE(fd, 0);
        params.baudrate = 115200;
        params.timeout_ms = -1;
        params.cread = 1;
        params.databits = 8;
        params.stopbits = 1;
        board.forget();
    }
    void TearDown() override { close(fd); }

    /** Sets the line, which succeeds; the settings that it has then, and that were asked for. */
    line_settings set()
    {
        board.forget();
        EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);
        const auto asked = settings_asked(board, tty_node);
        EXPECT_EQ(asked.size(), 1u);
        const line_settings now = settings_of(fd);
        if (!asked.empty()) {
            EXPECT_EQ(asked[0], now);
        }
        return now;
    }

    terminal::virtual_terminal board;
    kt_tty_params params{};
    int fd = -1;
};

/** All that a line can have on, or off, before it is set: the flags of each word and a number at every character. */
inline line_settings everything(bool on)
{
    line_settings settings;
    if (on) {
        settings.input = IGNBRK | BRKINT | IGNPAR | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXANY |
                         IXOFF | IMAXBEL | IUTF8;
        settings.output = OPOST | ONLCR | OCRNL | ONOCR | ONLRET | OFILL | OFDEL;
        settings.control = CSTOPB | CREAD | PARENB | PARODD | HUPCL | CLOCAL | CRTSCTS | CS7;
        settings.local = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHONL | NOFLSH | TOSTOP | ECHOCTL | ECHOKE | IEXTEN;
    }
    settings.control |= B9600;
    return settings;
}

} // namespace kt::tests
