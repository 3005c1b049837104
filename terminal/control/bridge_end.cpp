/** Making ptys and listening sockets. */
#include "terminal/control/bridge_end.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <termios.h>

namespace kt::terminal {

namespace {

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

} // namespace

bridge_end bridge_end::on_pty()
{
    bridge_end made;
    made.channel = descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64];
    if (!made.channel || grantpt(made.channel.get()) != 0 || unlockpt(made.channel.get()) != 0 ||
        ptsname_r(made.channel.get(), name, sizeof name) != 0)
        fail("no pty");
    made.held = descriptor(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    if (!made.held || tcgetattr(made.held.get(), &settings) != 0)
        fail(name);
    cfmakeraw(&settings);
    if (tcsetattr(made.held.get(), TCSANOW, &settings) != 0 ||
        fcntl(made.channel.get(), F_SETFL, O_RDWR | O_NONBLOCK) != 0)
        fail(name);
    made.pty = name;
    return made;
}

bridge_end bridge_end::on_tcp(int port)
{
    const std::string what = "TCP port " + std::to_string(port);
    bridge_end made;
    made.listening = descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!made.listening)
        fail(what);
    const int yes = 1;
    (void)setsockopt(made.listening.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(made.listening.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        listen(made.listening.get(), 4) != 0 ||
        getsockname(made.listening.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        fail(what);
    made.tcp_port = ntohs(address.sin_port);
    return made;
}

} // namespace kt::terminal
