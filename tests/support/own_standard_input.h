/** Standard input for one test alone. */
#pragma once

#include <string>
#include <string_view>

namespace kt::tests {

/** A pipe in the place of standard input: what the library does to descriptor 0 reaches nobody else's. */
class own_standard_input {
public:
    own_standard_input();
    ~own_standard_input();
    own_standard_input(const own_standard_input&) = delete;
    own_standard_input& operator=(const own_standard_input&) = delete;

    void send(std::string_view bytes) const;
    /** All that nobody has read. */
    std::string left() const;

private:
    int saved_;
    int writer_;
};

} // namespace kt::tests
