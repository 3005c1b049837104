/** The table of open flags' names. */
#include "terminal/model/open_flags.h"

#include <cstdio>
#include <fcntl.h>

namespace kt::terminal {

namespace {

// The kernel adds it to every 64-bit open, where the C library's own constant is 0.
constexpr int large_file = 0100000;

struct named_flag {
    const char* name;
    int bits;
};

constexpr named_flag flags_by_name[] = {
    {"O_CREAT", O_CREAT},   {"O_EXCL", O_EXCL},           {"O_NOCTTY", O_NOCTTY},     {"O_TRUNC", O_TRUNC},
    {"O_APPEND", O_APPEND}, {"O_NONBLOCK", O_NONBLOCK},   {"O_SYNC", O_SYNC},         {"O_DSYNC", O_DSYNC},
    {"O_DIRECT", O_DIRECT}, {"O_DIRECTORY", O_DIRECTORY}, {"O_NOFOLLOW", O_NOFOLLOW}, {"O_NOATIME", O_NOATIME},
    {"O_PATH", O_PATH},     {"O_CLOEXEC", O_CLOEXEC},
};

} // namespace

std::string open_flags_text(int flags)
{
    const int mode = flags & O_ACCMODE;
    std::string text = mode == O_RDONLY ? "O_RDONLY" : mode == O_WRONLY ? "O_WRONLY" : "O_RDWR";
    int rest = flags & ~(O_ACCMODE | large_file);
    for (const auto& [name, bits] : flags_by_name) {
        if ((rest & bits) == bits) {
            text.append("|").append(name);
            rest &= ~bits;
        }
    }
    if (rest != 0) {
        char number[16];
        std::snprintf(number, sizeof number, "|0x%x", static_cast<unsigned>(rest));
        text += number;
    }
    return text;
}

int open_flags_number(std::string_view text)
{
    int flags = 0;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find('|'));
        text.remove_prefix(word.size() < text.size() ? word.size() + 1 : text.size());
        if (word == "O_WRONLY")
            flags |= O_WRONLY;
        else if (word == "O_RDWR")
            flags |= O_RDWR;
        for (const auto& [name, bits] : flags_by_name)
            if (word == name)
                flags |= bits;
    }
    return flags;
}

} // namespace kt::terminal
