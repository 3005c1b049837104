// The four flat functions that read and write kernel attributes.
//
// Most of what the library does is one of these calls, many of them polled, so path and page live on the stack and no
// stream takes part: the cost is that of the four system calls.
#include "base/attributes.h"

#include "base/decimal.h"
#include "base/failure.h"
#include "base/sysfs_access.h"
#include "base/sysfs_exception.h"
#include "base/unique_fd.h"
#include "kt_driver/base.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <unistd.h>

namespace kt {

namespace {

/** Room for bytes: on the stack for what is usual, on the heap for more. */
template <std::size_t Usual>
class room {
public:
    // cppcheck-suppress uninitMemberVar ; not cleared: only what was written is ever looked at
    explicit room(std::size_t size)
    {
        if (size > Usual) {
            heap_.reset(new char[size]);
            bytes_ = heap_.get();
        }
    }
    room(const room&) = delete;
    room& operator=(const room&) = delete;

    char* get() { return bytes_; }

private:
    char stack_[Usual];
    char* bytes_ = stack_;
    std::unique_ptr<char[]> heap_;
};

/** One memory page, the most that one read of an attribute gives, and a byte for the NUL behind it. */
struct text_page {
    const std::size_t size = static_cast<std::size_t>(getpagesize());
    room<4096 + 1> text{size + 1}; // MIPS kernels may have larger pages
};

/** The path of an attribute: directory and name, nothing between. */
class attribute_path {
public:
    attribute_path(const char* dir, const char* name) : attribute_path(dir, std::strlen(dir), name, std::strlen(name))
    {
    }

    const char* c_str() { return path_.get(); }

private:
    attribute_path(const char* dir, std::size_t dir_length, const char* name, std::size_t name_length)
        : path_(dir_length + name_length + 1)
    {
        std::memcpy(path_.get(), dir, dir_length);
        std::memcpy(path_.get() + dir_length, name, name_length + 1);
    }

    room<256> path_;
};

/** An attribute, open as long as the object lives. */
class open_file {
public:
    open_file(const char* dir, const char* name) : path_(dir, name), fd_(open_attribute(path_.c_str(), mode_)) {}

    const char* read(text_page& page)
    {
        read_attribute(fd_.get(), path_.c_str(), page.text.get(), page.size);
        return page.text.get();
    }

    void write(const char* value) { (void)write_attribute(fd_.get(), path_.c_str(), value, std::strlen(value)); }
    void write(unsigned value) { (void)write_attribute_number(fd_.get(), path_.c_str(), value); }

private:
    attribute_path path_;
    int mode_ = 0;
    unique_fd fd_;
};

} // namespace

int attribute_int(const char* dir, const char* name)
{
    return enomem_on_bad_alloc([&] { return kt_sys_attr_get_int(dir, name); });
}

int set_attribute_int(const char* dir, const char* name, unsigned value)
{
    return enomem_on_bad_alloc([&] { return kt_sys_attr_set_int(dir, name, value); });
}

} // namespace kt

int kt_sys_attr_get_string(const char* dir, const char* name, char* buf, unsigned int* len)
{
    if (dir == nullptr || name == nullptr || len == nullptr || (buf == nullptr && *len > 0))
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::open_file file(dir, name);
        kt::text_page page;
        const char* const text = file.read(page);
        *len = std::min(*len, static_cast<unsigned>(std::strlen(text)));
        if (*len > 0)
            std::memcpy(buf, text, *len);
        return 0;
    });
}

int kt_sys_attr_get_int(const char* dir, const char* name)
{
    if (dir == nullptr || name == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::open_file file(dir, name);
        kt::text_page page;
        return static_cast<int>(kt::decimal_value(file.read(page)));
    });
}

int kt_sys_attr_set_string(const char* dir, const char* name, const char* value)
{
    if (dir == nullptr || name == nullptr || value == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::open_file(dir, name).write(value);
        return 0;
    });
}

int kt_sys_attr_set_int(const char* dir, const char* name, unsigned int value)
{
    if (dir == nullptr || name == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::open_file(dir, name).write(value);
        return 0;
    });
}
