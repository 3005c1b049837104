// Reading and writing a port through the library against the same system calls made bare, on one port of a terminal.
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/serial.h"
#include "terminal/client/virtual_terminal.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <string>
#include <sys/select.h>
#include <unistd.h>

using kt::bench::require;

namespace {

constexpr int port = 26;
constexpr const char* node = "/dev/sp_uart0";
constexpr unsigned piece = 16;          // a short answer of the secure processor
constexpr unsigned sent_ahead = 60'000; // the port's queue holds little more

constexpr int calls = 20;
constexpr int blocks = 1500;
constexpr double most = 1.03;

/** The port, open; its descriptor. */
int open_port()
{
    kt::bench::require_terminal();
    require(kt_serial_open(port, 115200, 0, 0, 0) == 0);
    return kt_serial_get_fd(port);
}

/** The other end, which sends ahead: few of the blocks have to wait for it. */
class sender {
public:
    void need_a_piece()
    {
        if (left_ < piece) {
            board_.send(node, std::string(sent_ahead - left_, 'x'));
            left_ = sent_ahead;
        }
        left_ -= piece;
    }

private:
    kt::terminal::virtual_terminal board_;
    unsigned left_ = 0;
};

void bare_read(int fd)
{
    char answer[piece];
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(fd, &ready);
    timeval timeout = {1, 0};
    require(select(fd + 1, &ready, nullptr, nullptr, &timeout) == 1);
    const int flags = fcntl(fd, F_GETFL);
    require(flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0);
    require(read(fd, answer, sizeof answer) == piece);
    require(fcntl(fd, F_SETFL, flags) == 0);
}

void port_read(benchmark::State& state)
{
    const int fd = open_port();
    sender other_end;
    const auto found = kt::bench::side_by_side(
        state, calls,
        [&] {
            other_end.need_a_piece();
            bare_read(fd);
        },
        [&] {
            other_end.need_a_piece();
            char answer[piece];
            require(kt_serial_read(port, answer, sizeof answer, 1000) == piece);
        });
    kt::bench::figure("kt_serial_read, against bare calls", found.ratio(), "x", most, kt::bench::side_by_side_noise);
}

void port_write(benchmark::State& state)
{
    const int fd = open_port();
    static constexpr char question[piece + 1] = "AT+CGDCONT=1,\"\"\n";
    const auto found = kt::bench::side_by_side(
        state, calls, [&] { require(write(fd, question, piece) == piece); },
        [&] { require(kt_serial_write(port, question, piece) == piece); });
    kt::bench::figure("kt_serial_write, against bare calls", found.ratio(), "x", most, kt::bench::side_by_side_noise);
}

BENCHMARK(port_read)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);
BENCHMARK(port_write)->UseManualTime()->Iterations(blocks * 4)->Unit(benchmark::kMicrosecond);

} // namespace
