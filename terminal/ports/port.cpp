/** A port's node, and what a program has open of it. */
#include "terminal/ports/port.h"

#include "terminal/model/board.h"

#include <utility>

namespace kt::terminal {

class port::opened : public open_file {
public:
    explicit opened(std::shared_ptr<line> wire) : wire_(std::move(wire)) {}

    ~opened() override
    {
        if (!is_open_)
            return;
        wire_->forget(this);
        wire_->close(this);
    }

    /** An errno, or 0. */
    int begin()
    {
        const int error = wire_->open(this);
        is_open_ = error == 0;
        return error;
    }

    bool stream() const override { return true; }

    void read(request_ptr asked, std::size_t size, off_t) override { wire_->read(std::move(asked), size, this); }

    void write(request_ptr asked, std::string_view data, off_t) override { wire_->write(std::move(asked), data, this); }

    void control(device_request_ptr asked) override { wire_->control(std::move(asked), this); }

    unsigned poll(std::function<void()> changed) override { return wire_->poll(this, std::move(changed)); }

private:
    const std::shared_ptr<line> wire_;
    bool is_open_ = false;
};

port::port(std::shared_ptr<line> wire) : node(S_IFREG | 0666), wire_(std::move(wire)) {}

port::~port() = default;

struct stat port::status() const
{
    struct stat status = node::status();
    // The kernel lets one write at a time into what grows by it: nothing that a program writes ends beyond this.
    status.st_size = off_t{1} << 30;
    return status;
}

result<std::unique_ptr<open_file>> port::open(int)
{
    auto made = std::make_unique<opened>(wire_);
    if (const int error = made->begin(); error != 0)
        return result<std::unique_ptr<open_file>>::failed(error);
    std::unique_ptr<open_file> file = std::move(made);
    return file;
}

std::shared_ptr<line> line_at(const board& searched, std::string_view path)
{
    const auto found = std::dynamic_pointer_cast<port>(searched.find(path));
    return found == nullptr ? nullptr : found->wire();
}

} // namespace kt::terminal
