/** One write per event. */
#include "terminal/control/log_file.h"

#include "terminal/protocol/event_json.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace kt::terminal {

log_file::log_file(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666))
{
    if (!file_)
        throw std::runtime_error("log file " + path + ": " + std::strerror(errno));
}

void log_file::add(const event& happened)
{
    const std::string line = event_line(happened);
    for (std::string_view rest = line; !rest.empty();) {
        const ssize_t length = write(file_.get(), rest.data(), rest.size());
        if (length < 0 && errno != EINTR)
            return; // a full disk must not stop the board
        if (length > 0)
            rest.remove_prefix(static_cast<std::size_t>(length));
    }
}

} // namespace kt::terminal
