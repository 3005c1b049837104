/** Which paths are the terminal's own, and which it shares with the host. */
#pragma once

#include <string_view>

namespace kt::terminal {

/** What the root is put together from; gone when the program starts. */
inline constexpr const char* parts_folder = "/.parts";

/** Whose a path is in the terminal. */
enum class owner {
    host,     /**< The host's, shown read-only. */
    empty,    /**< Inside a folder that is empty at the start: the host's may be shown there. */
    terminal, /**< The board's, the kernel's, or one of the empty folders itself. */
};

/** @p path is absolute, without "." and ".." in it. */
owner owner_of(std::string_view path);

} // namespace kt::terminal
