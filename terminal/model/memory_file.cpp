/** The bytes of a file in memory, and its opens. */
#include "terminal/model/memory_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace kt::terminal {

namespace {

constexpr std::size_t largest = std::size_t{16} << 20; // /dev is no place for more

} // namespace

class memory_file::opened : public open_file {
public:
    explicit opened(std::shared_ptr<memory_file> file) : file_(std::move(file)) {}

    void read(request_ptr asked, std::size_t size, off_t offset) override
    {
        std::string part;
        {
            const std::lock_guard lock(file_->mutex_);
            if (static_cast<std::size_t>(offset) < file_->bytes_.size())
                part = file_->bytes_.substr(static_cast<std::size_t>(offset), size);
        }
        asked->bytes(part);
    }

    void write(request_ptr asked, std::string_view data, off_t offset) override
    {
        const auto start = static_cast<std::size_t>(offset);
        if (start > largest || data.size() > largest - start)
            return asked->fail(ENOSPC);
        {
            const std::lock_guard lock(file_->mutex_);
            file_->bytes_.resize(std::max(file_->bytes_.size(), start + data.size()));
            file_->bytes_.replace(start, data.size(), data);
        }
        asked->count(data.size());
    }

private:
    std::shared_ptr<memory_file> file_;
};

memory_file::memory_file(mode_t permissions, std::string bytes)
    : node(S_IFREG | (permissions & 07777)), bytes_(std::move(bytes))
{
}

struct stat memory_file::status() const
{
    struct stat status = node::status();
    const std::lock_guard lock(mutex_);
    status.st_size = static_cast<off_t>(bytes_.size());
    return status;
}

int memory_file::change(const status_change& wanted)
{
    if (wanted.size) {
        if (static_cast<std::size_t>(*wanted.size) > largest)
            return ENOSPC;
        const std::lock_guard lock(mutex_);
        bytes_.resize(static_cast<std::size_t>(*wanted.size));
    }
    return node::change(wanted);
}

result<std::unique_ptr<open_file>> memory_file::open(int flags)
{
    if ((flags & O_TRUNC) != 0)
        set({});
    std::unique_ptr<open_file> file =
        std::make_unique<opened>(std::static_pointer_cast<memory_file>(shared_from_this()));
    return file;
}

std::string memory_file::bytes() const
{
    const std::lock_guard lock(mutex_);
    return bytes_;
}

void memory_file::set(std::string bytes)
{
    const std::lock_guard lock(mutex_);
    bytes_ = std::move(bytes);
}

} // namespace kt::terminal
