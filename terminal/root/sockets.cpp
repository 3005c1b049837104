/** Binding the control socket and the socket behind /dev/log. */
#include "terminal/root/sockets.h"

#include "terminal/root/failure.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace kt::terminal {

namespace {

descriptor bound_socket(int type, const std::string& path)
{
    descriptor made(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (!made || bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        chmod(path.c_str(), 0666) < 0)
        fail_step("make the terminal's socket " + path);
    return made;
}

} // namespace

descriptor make_control_socket(const std::string& path)
{
    descriptor made = bound_socket(SOCK_STREAM, path);
    if (listen(made.get(), SOMAXCONN) < 0)
        fail_step("listen on the terminal's socket " + path);
    return made;
}

descriptor make_log_socket(const std::string& path)
{
    descriptor made = bound_socket(SOCK_DGRAM, path);
    constexpr int on = 1;
    if (setsockopt(made.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) < 0)
        fail_step("ask the senders' names of the terminal's socket " + path);
    return made;
}

} // namespace kt::terminal
