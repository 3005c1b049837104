/** The serial line under the stand-in for pppd. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/standins/pppd_options.h"

#include <optional>
#include <string>

namespace kt::terminal {

class pppd_line {
public:
    /** Opens without waiting for a carrier. Not open: errno says why. */
    explicit pppd_line(const pppd_options& options);
    /** Lets DTR fall, which ends a call, and closes. */
    ~pppd_line();
    pppd_line(const pppd_line&) = delete;
    pppd_line& operator=(const pppd_line&) = delete;

    explicit operator bool() const { return static_cast<bool>(fd_); }
    int fd() const { return fd_.get(); }

    /** Raw, with the speed and the flow control; @p connecting: without heed to the carrier. False: errno says why. */
    bool set_up(bool connecting) const;
    /** Reads and writes wait, or do not. */
    void set_waiting(bool waiting) const;
    /** False: the carrier line has fallen (a line without one has it always). */
    bool has_carrier() const;
    unsigned speed() const;

    /** All of it, waiting where it must; false: the line is gone. */
    bool write_all(std::string_view bytes) const;

private:
    const pppd_options& options_;
    const descriptor fd_;
};

} // namespace kt::terminal
