/** kt_tty_control when the C library refuses a speed, which no real one does. */
#include "tests/serial/tty_line.h"
#include "tests/serial/watched_calls.h"

#include <cerrno>
#include <syslog.h>

using namespace kt::tests;

namespace {

using TtySpeedCalls = tty_line;

} // namespace

TEST_F(TtySpeedCalls, TheOutputSpeedIsSetBeforeTheInputSpeed)
{
    watched_calls library;
    const int result = kt_tty_control(fd, KT_TTY_SET_PARAMS, &params);
    const auto made = library.take();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(made, (std::vector<std::string>{"cfsetospeed", "cfsetispeed"}));
}

TEST_F(TtySpeedCalls, ARefusedSpeedIsToldUnderTheCallsNameAndNothingChanges)
{
    const line_settings before = settings_of(fd);
    params.databits = 9; // comes later
    for (const std::string call : {"cfsetospeed", "cfsetispeed"}) {
        board.forget();
        watched_calls library;
        library.fail(call, EINVAL);
        errno = 0;
        const int result = kt_tty_control(fd, KT_TTY_SET_PARAMS, &params);
        const int cause = errno;
        library.take();
        EXPECT_EQ(result, -1);
        EXPECT_EQ(cause, EINVAL);
        EXPECT_EQ(board.syslog(), "[ERROR] kt_tty_control " + call + "\n");
        EXPECT_EQ(board.events_of({"syslog"}).at(0).priority, LOG_ERR);
        EXPECT_EQ(settings_of(fd), before);
        EXPECT_EQ(settings_asked(board, tty_node), std::vector<line_settings>{});
    }
}
