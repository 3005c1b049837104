/** An ordinary file that lives in memory, such as one that a program makes below /dev. */
#pragma once

#include "terminal/model/node.h"

#include <mutex>
#include <string>

namespace kt::terminal {

class memory_file : public node {
public:
    memory_file(mode_t permissions, std::string bytes);

    struct stat status() const override;
    int change(const status_change& wanted) override;
    result<std::unique_ptr<open_file>> open(int flags) override;

    std::string bytes() const;
    void set(std::string bytes);

private:
    class opened;

    mutable std::mutex mutex_; // reads and writes come without the tree's lock
    std::string bytes_;
};

} // namespace kt::terminal
