/** What termios requests set of a port, in the kernel's own records. */
#pragma once

#include "terminal/ports/line.h"

#include <asm/termbits.h> // the kernel's records: <termios.h> has others of the same name
#include <chrono>

namespace kt::terminal {

/** A port that nobody has set up yet, as a serial driver leaves it: 9600 bit/s, 8N1, all of a terminal's editing. */
struct termios2 first_settings();

/** TCGETS: all but the speeds, which it shows as codes only. */
struct termios short_form(const struct termios2& set);

/** TCSETS: a speed without a code (BOTHER) stays as it is. */
struct termios2 with_short_form(const struct termios2& set, const struct termios& wanted);

/** TCSETS2: speeds with a code follow it. */
struct termios2 with_speeds(const struct termios2& wanted);

/** TCGETA and TCSETA: the lower halves of the flags. */
struct termio oldest_form(const struct termios2& set);
struct termios2 with_oldest_form(const struct termios2& set, const struct termio& wanted);

/** How bytes leave and arrive under these settings. */
framing framing_of(const struct termios2& set);

/** The bits of a byte that its character size leaves. */
unsigned char size_mask(const struct termios2& set);

inline bool is_line_wise(const struct termios2& set)
{
    return (set.c_lflag & ICANON) != 0;
}

} // namespace kt::terminal
