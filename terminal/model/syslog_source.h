/** The socket behind /dev/log as a source of the journal. */
#pragma once

#include "terminal/model/event.h"
#include "terminal/model/journal.h"

#include <functional>
#include <optional>
#include <sys/types.h>
#include <thread>

namespace kt::terminal {

/** Threads: next() one at a time (the journal's lock sees to it); start() and stop() by the owner. */
class syslog_source {
public:
    /** Turns a sender's process number as this process sees it into the one the program knows; 0 when it cannot. */
    using translation = std::function<pid_t(pid_t)>;

    /** Owns @p socket: datagrams, with SO_PASSCRED. */
    syslog_source(int socket, translation inner_pid);
    ~syslog_source();
    syslog_source(const syslog_source&) = delete;
    syslog_source& operator=(const syslog_source&) = delete;

    /** The oldest waiting line, or nothing. */
    std::optional<event> next();

    /** Pokes the journal whenever lines come in, until stop(). */
    void start(journal& events);
    void stop();

private:
    void watch(journal& events);

    const int socket_;
    const int stopped_;
    const translation inner_pid_;
    std::thread watcher_;
};

/** The number of a process in the innermost namespace that it is in; 0 when it is gone. */
pid_t innermost_pid(pid_t outer);

} // namespace kt::terminal
