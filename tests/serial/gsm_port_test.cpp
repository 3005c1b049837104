/** Port 21: its failures in a row, and the one supervision that every fiftieth of them starts. */
#include "tests/serial/ports.h"
#include "tests/support/journal_lines.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::terminal_error;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* channel = "/dev/chn/3";
const std::string failure_lines = open_line(21) + "KT_UART_COM21 error Input/output error\n";
const std::string query = "pidof -s gsm0710muxd_bp";

/** A process that passes for the multiplexer daemon. */
class daemon_process {
public:
    daemon_process() : pid_(fork())
    {
        if (pid_ == 0) {
            execl("/bin/sleep", "gsm0710muxd_bp", "300", nullptr);
            _exit(127);
        }
        // It counts as running under its new name only.
        while (pid_ > 0 && system("pidof -s gsm0710muxd_bp > /dev/null") != 0)
            usleep(10'000);
    }
    daemon_process(const daemon_process&) = delete;
    daemon_process& operator=(const daemon_process&) = delete;
    ~daemon_process()
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

    std::string pid() const { return std::to_string(pid_); }

private:
    const pid_t pid_;
};

/** A channel of nobody's, which does not open: the check finds its node without waiting for it. */
void prepare(virtual_terminal& board)
{
    for (const char* const each : {"/dev/chn", "/kt/kt_module/gsm0710muxd_bp"}) {
        try {
            board.remove(each);
        } catch (const terminal_error&) { // this board has none
        }
    }
    board.port(channel);
    board.fail(channel, {.on = "open", .error = EIO});
    board.forget();
}

void expect_plain_failures(virtual_terminal& board, int count)
{
    for (int number = 1; number <= count; ++number)
        ASSERT_EQ(open_port(21), failed(EIO, failure_lines)) << number;
    EXPECT_EQ(board.commands(), lines{});
}

/** The next failure makes the check run, which finds the daemon. */
void expect_supervision(virtual_terminal& board, const daemon_process& daemon, const std::string& waited)
{
    board.forget();
    EXPECT_EQ(open_port(21), failed(EIO, failure_lines + "gsm_open_error_count 50\n" + waited + "system: " + query +
                                             "\n" + daemon.pid() + "\ntask_check_run ret  0\n"));
    EXPECT_EQ(board.commands(), lines{query});
    board.forget();
}

/** Only the first check of a process waits for the channel at all. */
const std::string first_check = "find /dev/chn/3\n";

std::size_t count_of(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

} // namespace

TEST(GsmPort, EveryFiftiethFailureRunsTheSupervisionOnce)
{
    virtual_terminal board;
    const daemon_process daemon;
    prepare(board);
    expect_plain_failures(board, 49);
    expect_supervision(board, daemon, first_check);
    expect_plain_failures(board, 49);
    expect_supervision(board, daemon, "");
    expect_plain_failures(board, 49);
}

TEST(GsmPort, ASuccessInBetweenStartsTheCountAnew)
{
    virtual_terminal board;
    const daemon_process daemon;
    prepare(board);
    expect_plain_failures(board, 49);

    board.mend_all();
    const outcome done = open_port(21);
    EXPECT_EQ(
        done,
        (outcome{0, 0, open_line(21) + "KT_UART_COM21 uart_gsm_fd=" + std::to_string(kt_serial_get_fd(21)) + "\n"}));
    board.fail(channel, {.on = "open", .error = EIO});
    expect_plain_failures(board, 49);
    expect_supervision(board, daemon, first_check);
}

TEST(GsmPort, FailuresOfOtherPortsDoNotCount)
{
    virtual_terminal board;
    const daemon_process daemon;
    prepare(board);
    board.fail(processor_node, {.on = "open", .error = EIO});
    expect_plain_failures(board, 48);
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(open_port(26).result, -1);
    EXPECT_EQ(outcome_of([] { return kt_serial_open(21, 115200, 1, 0, 0); }).result, -1); // it never came to an open
    expect_plain_failures(board, 1);
    expect_supervision(board, daemon, first_check);
}

TEST(GsmPort, ALineThatRefusesItsSettingsIsNoFailedOpen)
{
    virtual_terminal board;
    const daemon_process daemon;
    prepare(board);
    expect_plain_failures(board, 49);
    board.mend_all();
    EXPECT_EQ(outcome_of([] { return kt_serial_open(21, 115201, 0, 0, 0); }).result, -1);
    EXPECT_GE(kt_serial_get_fd(21), 0);
    board.fail(channel, {.on = "open", .error = EIO});
    expect_plain_failures(board, 49);
}

TEST(GsmPort, TheCountStartsAnewAlsoWhenTheSupervisionsOwnOpenFails)
{
    virtual_terminal board;
    prepare(board);
    expect_plain_failures(board, 49);
    board.forget();
    const outcome fiftieth = open_port(21); // no daemon: rebuilds, opens the port itself in vain and tries the modem
    EXPECT_EQ(fiftieth.result, -1);
    EXPECT_EQ(fiftieth.cause, EIO); // the first open's: the second found no node
    EXPECT_EQ(count_of(fiftieth.text, "gsm_open_error_count 50\n"), 1u);
    EXPECT_EQ(count_of(fiftieth.text, "no gsm0710muxd_bp running,restart#####\n"), 1u);
    EXPECT_EQ(count_of(fiftieth.text, open_line(21) + "KT_UART_COM21 error "), 2u);
    EXPECT_EQ(count_of(fiftieth.text, "\nwrite\n"), 30u);

    const daemon_process daemon;
    try {
        board.port(channel);
    } catch (const terminal_error&) { // the check did not take the node away
    }
    board.forget();
    expect_plain_failures(board, 49);
    expect_supervision(board, daemon, "");
}
