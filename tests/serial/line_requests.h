/** What the kernel is asked to do with a line, out of the journal: requests in order, settings whole. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

/** A line's settings as the kernel's own record holds them. */
struct line_settings {
    unsigned input = 0, output = 0, control = 0, local = 0;
    unsigned discipline = 0;
    std::vector<unsigned char> characters;

    bool operator==(const line_settings&) const = default;
};

/** Asks the kernel, not the C library, which shows and sets less. */
line_settings settings_of(int fd);
void set_settings(int fd, const line_settings& wanted);

/**
 * The requests to a port since forget(), in order: "TCGETS", "TCSETS", "TIOCMGET DTR RTS CTS CD DSR" (the lines that
 * were told), "TIOCMSET DTR" (those that were set), "TCFLSH TCIFLUSH", "TIOCOUTQ"; a refused one ends in " = EIO".
 * Left out are the TCGETS that some C libraries put before and after a TCSETS of their own accord, and FIONREAD.
 */
std::vector<std::string> line_requests(terminal::virtual_terminal& board, std::string_view path);

/** How many requests came before the first TCSETS, those of the C library included: what a rule has to let pass. */
int requests_before_set(terminal::virtual_terminal& board, std::string_view path);

/** The records that TCSETS carried. */
std::vector<line_settings> settings_asked(terminal::virtual_terminal& board, std::string_view path);

} // namespace kt::tests
