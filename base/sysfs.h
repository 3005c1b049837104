// Kernel attributes as objects: one object serves one read or one write of one file.
#pragma once

#include "base/board_directories.h"
#include "base/decimal.h"
#include "base/failure.h"
#include "base/sysfs_access.h"
#include "base/sysfs_exception.h"

#include <string>
#include <unistd.h>
#include <utility>

namespace kt {

/**
 * One attribute file, used for exactly one conversion or assignment. Nothing checks that: a second one opens a second
 * descriptor and buffer, and the first are lost.
 */
class sysfs_attribute {
public:
    explicit sysfs_attribute(std::string path) : path(std::move(path)) {}
    sysfs_attribute(const sysfs_attribute&) = delete;
    sysfs_attribute& operator=(const sysfs_attribute&) = delete;

    ~sysfs_attribute()
    {
        const errno_keeper keeper;
        if (fd != -1)
            (void)close(fd);
        fd = -1;
        delete[] buffer;
        buffer = nullptr;
    }

    /** Opens the file and makes room for one page of text. Gives 0; throws sysfs_exception. */
    int open_sysfs_attribute()
    {
        fd = open_attribute(path.c_str(), mode);
        size = static_cast<unsigned>(getpagesize());
        buffer = new char[size + 1]();
        return 0;
    }

    /** Reads the text up to its first NUL, line feed included. */
    operator std::string() { return read_text(); }

    /** Reads the decimal number at the text's start. */
    operator unsigned int() { return decimal_value(read_text()); }

    // An assignment is a write, whose result is the count of bytes.
    int operator=(const std::string& value) // NOLINT(misc-unconventional-assign-operator)
    {
        open_sysfs_attribute();
        return write_attribute(fd, path.c_str(), value.c_str(), value.size());
    }

    /** Writes "0x" and lower-case hexadecimal digits. */
    int operator=(unsigned int value) // NOLINT(misc-unconventional-assign-operator)
    {
        open_sysfs_attribute();
        return write_attribute_number(fd, path.c_str(), value);
    }

    std::string path;
    char* buffer = nullptr;
    int fd = -1;
    int mode = 0;
    unsigned size = 0;

private:
    const char* read_text()
    {
        open_sysfs_attribute();
        read_attribute(fd, path.c_str(), buffer, size);
        return buffer;
    }
};

/** One directory of attributes. */
class sysfs_helper {
public:
    /** @param dir  With its closing "/". */
    explicit sysfs_helper(std::string dir) : dir(std::move(dir)) {}

    sysfs_attribute operator[](const std::string& name) const { return sysfs_attribute(dir + name); }

    std::string dir;
};

/** The attributes of the board's versions. */
class kt_sysinfo_helper {
public:
    /** Reads one of them. Gives 0; -1: a line in syslog and errno say why, @p out is untouched. */
    template <typename Value>
    static int get_attr(const char* name, Value& out)
    {
        return logged(__func__, [&] {
            Value value = sysfs_helper(sysinfo_directory)[name];
            out = std::move(value);
            return 0;
        });
    }
};

} // namespace kt
