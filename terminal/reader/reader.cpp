/** Opening and closing, and the record's true size. */
#include "terminal/reader/reader.h"

#include "terminal/json/json.h"
#include "terminal/reader/request_table.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

class reader::opened : public open_file {
public:
    explicit opened(std::shared_ptr<chip> driver) : driver_(std::move(driver)) {}
    ~opened() override { driver_->close(); }
    opened(const opened&) = delete;
    opened& operator=(const opened&) = delete;

    bool stream() const override { return true; }
    void read(request_ptr asked, std::size_t, off_t) override { asked->fail(EINVAL); }
    void write(request_ptr asked, std::string_view, off_t) override { asked->fail(EINVAL); }
    std::size_t record_size(std::uint32_t number) const override
    {
        return reader_request_of(number) ? sizeof(reader_record) : 0;
    }
    void control(device_request_ptr asked) override { driver_->control(std::move(asked)); }

private:
    const std::shared_ptr<chip> driver_;
};

reader::~reader()
{
    chip_->near().remove_all(); // who waits for a card holds the chip
}

result<std::unique_ptr<open_file>> reader::open(int)
{
    if (const int error = chip_->open(); error != 0)
        return result<std::unique_ptr<open_file>>::failed(error);
    std::unique_ptr<open_file> file = std::make_unique<opened>(chip_);
    return file;
}

void know_readers(board& known)
{
    known.set_device_maker("reader", [](board& on, const std::string& path, const std::string& options) {
        if (path != reader_path) // where the control socket looks for it
            throw std::invalid_argument("a contactless reader must be " + std::string(reader_path));
        const auto read = parsed_json(options, nullptr, false);
        if (!read.is_object() || read.size() > 1 || (read.size() == 1 && !read.contains("kind")))
            throw std::invalid_argument("a contactless reader has no options");
        if (!on.put_device(path, std::make_shared<reader>()))
            throw std::invalid_argument(path + ": the place is taken");
    });
}

std::shared_ptr<reader> reader_at(const board& searched)
{
    return std::dynamic_pointer_cast<reader>(searched.find(reader_path));
}

} // namespace kt::terminal
