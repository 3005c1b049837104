/** Makes memory run out for a program's C++ code; the C library's own needs are met. */
#pragma once

namespace kt::tests {

/** On this thread operator new fails while this lives. */
class short_of_memory {
public:
    short_of_memory();
    ~short_of_memory();
    short_of_memory(const short_of_memory&) = delete;
    short_of_memory& operator=(const short_of_memory&) = delete;
};

} // namespace kt::tests
