/** Open flags as text, since their numbers differ between machines. */
#pragma once

#include <string>
#include <string_view>

namespace kt::terminal {

/** "O_RDWR|O_NONBLOCK": the access mode first, then each set flag; what has no name is hexadecimal. */
std::string open_flags_text(int flags);

/** The same back as this machine's numbers; an unknown word is left out. */
int open_flags_number(std::string_view text);

} // namespace kt::terminal
