// The boot loader's version in the kernel's command line.
#pragma once

#include <cstring>

namespace kt {

/**
 * Finds the text behind the first "ktubver=" and ends it in place at the next blank; without one it runs to the end,
 * the command line's own line feed included. Null when there is none.
 */
inline char* boot_version_in(char* command_line)
{
    constexpr char key[] = "ktubver=";
    char* const found = std::strstr(command_line, key);
    if (found == nullptr)
        return nullptr;
    char* const version = found + sizeof key - 1;
    if (char* const blank = std::strchr(version, ' '); blank != nullptr)
        *blank = '\0';
    return version;
}

} // namespace kt
