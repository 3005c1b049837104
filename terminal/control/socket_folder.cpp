/** Making, checking and searching the folder of control sockets. */
#include "terminal/control/socket_folder.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr std::string_view ending = ".socket";
constexpr std::size_t longest_name = 40;

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/** True when the folder is there; one that others could have put there or can write to is refused. */
bool check_folder(const std::string& folder)
{
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return false;
        fail(folder);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0)
        throw std::runtime_error(
            folder + " must be a folder of your own with permissions 0700; remove it, or set XDG_RUNTIME_DIR");
    return true;
}

sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw std::runtime_error("control socket " + path + ": a path of 1 to 107 bytes is possible");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

descriptor stream_socket()
{
    descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!made)
        fail("control socket");
    return made;
}

enum class state { nothing, left_over, in_use };

/** Whether somebody listens at a path. */
state state_of(const std::string& path)
{
    const sockaddr_un address = address_of(path);
    const descriptor probe = stream_socket();
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return state::in_use;
    return errno == ENOENT ? state::nothing : errno == ECONNREFUSED ? state::left_over : state::in_use;
}

} // namespace

std::string socket_folder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    // After a change of user, and in a terminal on a terminal, the variable often names a folder that is not there.
    if (runtime != nullptr && *runtime == '/' && access(runtime, W_OK | X_OK) == 0)
        return std::string(runtime) + "/kt-terminal";
    return "/tmp/kt-terminal-" + std::to_string(geteuid());
}

std::string socket_of(const std::string& name)
{
    return socket_folder() + "/" + name + std::string(ending);
}

bool is_terminal_name(const std::string& name)
{
    const auto allowed = [](unsigned char each) {
        return std::isalnum(each) != 0 || each == '-' || each == '_' || each == '.';
    };
    return !name.empty() && name.size() <= longest_name && name[0] != '.' &&
           std::all_of(name.begin(), name.end(), allowed);
}

std::vector<std::string> running_terminals()
{
    std::vector<std::string> names;
    if (!check_folder(socket_folder()))
        return names;
    for (const auto& each : std::filesystem::directory_iterator(socket_folder())) {
        const std::string file = each.path().filename();
        if (!file.ends_with(ending) || file.starts_with('.'))
            continue;
        const state found = state_of(each.path());
        if (found == state::left_over)
            (void)unlink(each.path().c_str());
        else if (found == state::in_use)
            names.push_back(file.substr(0, file.size() - ending.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

host_socket host_socket::named(const std::string& name)
{
    const std::string folder = socket_folder();
    if (!check_folder(folder)) {
        if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
            fail(folder);
        (void)check_folder(folder);
    }
    if (state_of(socket_of(name)) == state::in_use)
        throw std::runtime_error("a terminal called " + name + " is running; choose another --name");
    return host_socket(socket_of(name));
}

/** Listens under another name first: whoever finds the socket at its path can connect to it. */
host_socket::host_socket(std::string path) : path_(std::move(path)), socket_(stream_socket())
{
    (void)address_of(path_);
    const std::filesystem::path at(path_);
    const std::string hidden = at.parent_path() / ("." + std::to_string(getpid()));
    const sockaddr_un address = address_of(hidden);
    (void)unlink(hidden.c_str());
    const mode_t mask = umask(0177);
    const int bound = bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    umask(mask);
    if (bound != 0 || listen(socket_.get(), SOMAXCONN) != 0)
        fail("control socket " + path_);

    if (state_of(path_) == state::left_over)
        (void)unlink(path_.c_str());
    if (renameat2(AT_FDCWD, hidden.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) != 0) {
        const int cause = errno;
        (void)unlink(hidden.c_str());
        errno = cause;
        if (cause == EEXIST)
            throw std::runtime_error("control socket " + path_ + ": in use, perhaps by another terminal");
        fail("control socket " + path_);
    }
}

host_socket::~host_socket()
{
    if (!path_.empty())
        (void)unlink(path_.c_str());
}

host_socket::host_socket(host_socket&& other) noexcept
    : path_(std::exchange(other.path_, {})), socket_(std::move(other.socket_))
{
}

} // namespace kt::terminal
