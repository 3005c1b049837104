/** What a process holds open: leaks counted, and descriptor 0 made free for the next open. */
#pragma once

#include <set>
#include <string>

namespace kt::tests {

/** The numbers of all open descriptors. */
std::set<int> open_descriptors();

/** Where a descriptor leads ("/proc/cmdline"); empty when it is closed. */
std::string descriptor_target(int fd);

/** Standard input is closed while this lives, so that the next descriptor is 0; afterwards it is as before. */
class descriptor_0_free {
public:
    descriptor_0_free();
    ~descriptor_0_free();
    descriptor_0_free(const descriptor_0_free&) = delete;
    descriptor_0_free& operator=(const descriptor_0_free&) = delete;

private:
    int saved_;
};

} // namespace kt::tests
