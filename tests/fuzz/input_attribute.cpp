/** The steps of one attribute access, answered from memory; linked in place of base/sysfs_access.cpp. */
#include "tests/fuzz/input_attribute.h"

#include "base/sysfs_access.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace kt {

namespace {

std::string held;

} // namespace

namespace fuzz {

void hold(const std::uint8_t* data, std::size_t size)
{
    held.assign(reinterpret_cast<const char*>(data), size);
}

std::string visible_text()
{
    return held.substr(0, static_cast<std::size_t>(getpagesize())).c_str();
}

} // namespace fuzz

int open_attribute(const char*, int& mode)
{
    mode = O_RDONLY;
    return -1; // nothing to close
}

void read_attribute(int, const char*, char* text, std::size_t size)
{
    const std::size_t length = std::min(size, held.size());
    std::memcpy(text, held.data(), length);
    text[length] = '\0';
}

int write_attribute(int, const char*, const char*, std::size_t length)
{
    return static_cast<int>(length);
}

int write_attribute_number(int, const char*, unsigned)
{
    return 0;
}

} // namespace kt
