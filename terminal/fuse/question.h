/** One call of the program, from the kernel's question to the journal's entry and the answer. */
#pragma once

#include "terminal/fuse/gate.h"
#include "terminal/model/journal.h"
#include "terminal/model/request.h"

#include <string>

namespace kt::terminal {

/** The journal's line is written before the answer goes out, so that it stands there when the call returns. */
class question : public request {
public:
    /** @p lines is null for what is not journalled. @p happened holds who asks. */
    question(fuse_req_t asked, journal* lines, event happened);
    ~question() override;

    caller from() const override;
    void fail(int error) override;
    void bytes(std::string_view data) override;
    void count(std::size_t taken) override;

private:
    void write_down();

    fuse_req_t asked_; // null once answered
    journal* lines_;
    event happened_;
};

} // namespace kt::terminal
