/** Showing and storing an attribute by the rules of the kernel's own attribute files. */
#include "terminal/model/attribute.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <limits>
#include <optional>

namespace kt::terminal {

namespace {

constexpr std::size_t page = 4096; // an attribute shows and takes at most this much

/** A number as drivers take it: sign, base by prefix, one line feed at the end, nothing else. An errno, or 0. */
int parse_number(std::string_view text, long long& value)
{
    if (text.ends_with('\n'))
        text.remove_suffix(1);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == '0') {
        base = 8;
    }
    unsigned long long magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (error == std::errc::result_out_of_range)
        return ERANGE;
    if (error != std::errc{} || end != text.data() + text.size())
        return EINVAL;
    constexpr auto largest = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
    if (magnitude > largest + (negative ? 1 : 0))
        return ERANGE;
    value = static_cast<long long>(negative ? 0 - magnitude : magnitude); // wraps to the two's complement
    return 0;
}

} // namespace

class attribute_file::opened : public open_file {
public:
    explicit opened(std::shared_ptr<attribute_file> shown) : attribute_(std::move(shown)) {}

    void read(request_ptr asked, std::size_t size, off_t offset) override
    {
        const attribute_guard guard = offset == 0 ? attribute_->guarded() : attribute_guard{};
        if (guard.read)
            guard.read(std::move(asked), [this, size](request_ptr let_on) { show(std::move(let_on), size, 0); });
        else
            show(std::move(asked), size, offset);
    }

    void write(request_ptr asked, std::string_view data, off_t) override
    {
        const std::string taken(data.substr(0, page));
        const attribute_guard guard = attribute_->guarded();
        if (guard.write)
            guard.write(std::move(asked), taken,
                        [this, taken](request_ptr let_on) { store(std::move(let_on), taken); });
        else
            store(std::move(asked), taken);
    }

private:
    // A request that a guard keeps holds the open file: the kernel releases it only when all its calls are answered.
    void show(request_ptr asked, std::size_t size, off_t offset)
    {
        std::string part;
        {
            const std::lock_guard lock(mutex_);
            if (offset == 0 || !text_) // a driver is asked once per reading from the start
                text_ = attribute_->text();
            if (static_cast<std::size_t>(offset) < text_->size())
                part = text_->substr(static_cast<std::size_t>(offset), size);
        }
        asked->bytes(part);
    }

    void store(request_ptr asked, const std::string& taken)
    {
        if (const int error = attribute_->store(taken); error != 0)
            return asked->fail(error);
        asked->count(taken.size());
    }

    std::shared_ptr<attribute_file> attribute_;
    std::mutex mutex_;
    std::optional<std::string> text_;
};

attribute_file::attribute_file(attribute_state state) : node(S_IFREG | (state.mode & 07777)), state_(std::move(state))
{
}

struct stat attribute_file::status() const
{
    struct stat status = node::status();
    status.st_size = page;
    return status;
}

int attribute_file::change(const status_change& wanted)
{
    if (wanted.permissions) {
        const std::lock_guard lock(mutex_);
        state_.mode = *wanted.permissions & 07777;
    }
    return node::change(wanted);
}

result<std::unique_ptr<open_file>> attribute_file::open(int flags)
{
    const int wanted = flags & O_ACCMODE;
    // Nobody's uid helps here, root's neither: a driver without the operation cannot do it.
    if (wanted != O_RDONLY && (mode() & 0222) == 0)
        return result<std::unique_ptr<open_file>>::failed(EACCES);
    if (wanted != O_WRONLY && (mode() & 0444) == 0)
        return result<std::unique_ptr<open_file>>::failed(EACCES);
    std::unique_ptr<open_file> file =
        std::make_unique<opened>(std::static_pointer_cast<attribute_file>(shared_from_this()));
    return file;
}

attribute_state attribute_file::state() const
{
    const std::lock_guard lock(mutex_);
    return state_;
}

void attribute_file::set(attribute_state state)
{
    set_permissions(state.mode);
    const std::lock_guard lock(mutex_);
    state_ = std::move(state);
}

void attribute_file::set_text(std::string text)
{
    const std::lock_guard lock(mutex_);
    state_.text = std::move(text);
}

void attribute_file::watch(std::function<void(const std::string&)> written)
{
    const std::lock_guard lock(mutex_);
    written_ = std::move(written);
}

void attribute_file::guard(attribute_guard guard)
{
    const std::lock_guard lock(mutex_);
    guard_ = std::move(guard);
}

attribute_guard attribute_file::guarded() const
{
    const std::lock_guard lock(mutex_);
    return guard_;
}

std::string attribute_file::text() const
{
    const std::lock_guard lock(mutex_);
    return state_.text.substr(0, page);
}

int attribute_file::store(std::string_view written)
{
    std::function<void(const std::string&)> listener;
    std::string text;
    {
        const std::lock_guard lock(mutex_);
        if (state_.kind == attribute_kind::integer) {
            long long value = 0;
            if (const int error = parse_number(written, value); error != 0)
                return error;
            state_.text = std::to_string(value) + '\n';
        } else {
            state_.text = std::string(written);
        }
        listener = written_;
        text = state_.text;
    }
    if (listener)
        listener(text);
    return 0;
}

} // namespace kt::terminal
