// One access to a kernel attribute for the library's own functions.
//
// Most of what the library does is such an access, many of them polled, so path and page live on the stack and no
// stream takes part: the cost is that of the four system calls.
#pragma once

#include "base/sysfs_access.h"
#include "base/unique_fd.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <unistd.h>

namespace kt {

/** Room for bytes: on the stack for what is usual, on the heap for more. */
template <std::size_t Usual>
class usually_on_stack {
public:
    // cppcheck-suppress uninitMemberVar ; not cleared: only what was written is ever looked at
    explicit usually_on_stack(std::size_t size)
    {
        if (size > Usual) {
            heap_.reset(new char[size]);
            bytes_ = heap_.get();
        }
    }
    usually_on_stack(const usually_on_stack&) = delete;
    usually_on_stack& operator=(const usually_on_stack&) = delete;

    char* get() { return bytes_; }

private:
    char stack_[Usual];
    char* bytes_ = stack_;
    std::unique_ptr<char[]> heap_;
};

/** One memory page, the most that one read of an attribute gives, and a byte for the NUL behind it. */
struct text_page {
    const std::size_t size = static_cast<std::size_t>(getpagesize());
    usually_on_stack<4096 + 1> text{size + 1}; // MIPS kernels may have larger pages
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

    usually_on_stack<256> path_;
};

/** An attribute, open as long as the object lives. */
class attribute_file {
public:
    attribute_file(const char* dir, const char* name) : path_(dir, name), fd_(open_attribute(path_.c_str(), mode_)) {}

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

} // namespace kt
