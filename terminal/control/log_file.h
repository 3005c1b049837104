/** The file of --log: every event as one line of JSON, as it happens. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/model/event.h"

#include <string>

namespace kt::terminal {

/** Threads: one at a time (the journal's lock sees to it). */
class log_file {
public:
    /** Opens or empties the file. Throws std::runtime_error. */
    explicit log_file(const std::string& path);

    /** Writes the event at once, so that nothing is missing after a crash. */
    void add(const event& happened);

private:
    descriptor file_;
};

} // namespace kt::terminal
