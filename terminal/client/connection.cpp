/** A stream socket, cut into lines. */
#include "terminal/client/connection.h"

#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

std::string cause()
{
    return std::strerror(errno);
}

} // namespace

virtual_terminal::connection::connection(const std::string& path)
    : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof address.sun_path;
    if (fits)
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    else
        errno = ENAMETOOLONG;
    if (!fits || socket_ < 0 || connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const std::string why = cause();
        if (socket_ >= 0)
            close(socket_);
        throw terminal_error("no terminal at " + path + ": " + why);
    }
}

virtual_terminal::connection::~connection()
{
    close(socket_);
}

void virtual_terminal::connection::send(std::string_view line) const
{
    while (!line.empty()) {
        const ssize_t length = ::send(socket_, line.data(), line.size(), MSG_NOSIGNAL);
        if (length < 0 && errno != EINTR)
            throw terminal_error("the terminal takes no request: " + cause());
        if (length > 0)
            line.remove_prefix(static_cast<std::size_t>(length));
    }
}

std::string virtual_terminal::connection::receive()
{
    std::size_t searched = 0;
    for (;;) {
        if (const std::size_t end = buffer_.find('\n', searched); end != std::string::npos) {
            std::string line = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return line;
        }
        searched = buffer_.size();
        char part[16 * 1024];
        const ssize_t length = recv(socket_, part, sizeof part, 0);
        if (length == 0)
            throw terminal_error("the terminal has ended");
        if (length < 0 && errno != EINTR)
            throw terminal_error("the terminal does not answer: " + cause());
        if (length > 0)
            buffer_.append(part, static_cast<std::size_t>(length));
    }
}

json virtual_terminal::connection::ask(const json& request)
{
    send(request.dump() + "\n");
    json answer = parsed_json(receive());
    if (!answer.value("ok", false))
        throw terminal_error(get_bytes(answer, "error").value_or("the terminal refused without a reason"));
    return answer;
}

json request_about(const char* operation, std::string_view path)
{
    json request = {{"op", operation}};
    put_bytes(request, "path", std::string(path));
    return request;
}

} // namespace kt::terminal
