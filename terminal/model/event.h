/** One line of the journal: what the program asked of the board. */
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::terminal {

/** A field that does not belong to the event's kind stays empty. */
struct event {
    std::uint64_t seq = 0; /**< 1, 2, 3 …; set by the journal. */
    double time_s = 0;     /**< Seconds since the terminal's start; set by the journal. */
    pid_t pid = 0;         /**< Process, as the program itself knows it (getpid); 0: the terminal's own doing. */
    pid_t tid = 0;         /**< Thread, likewise (gettid). */

    /**
     * "open" (path, flags), "read" (path, size asked, offset, data), "write" (path, offset, data), "ioctl" (path,
     * request, data), "missing" (path: a look-up that found nothing), "create", "remove" (path), "rename" (path,
     * arguments[0]: the new path), "shell" (data: the command text behind -c; arguments), "program" (path: the
     * stand-in's name; arguments), "syslog" (priority, path: the identity, data: the text), "power" (data: "restart" or
     * "off"), "sleep" (data: the word that was written, "mem"), "wake" (result: the wake_source, slept_ms; error:
     * "EINTR" after a signal), "clock" (data: the new time of the program's clock, "SECONDS.NANOSECONDS"; empty: a time
     * zone only, or a time that was refused), "exit" (result).
     */
    std::string kind;
    std::string path;
    std::string flags;      /**< Names joined by '|', the access mode first: "O_RDWR|O_NONBLOCK". */
    std::string data;       /**< The bytes, as they were. */
    std::uint64_t size = 0; /**< Bytes asked for. */
    std::uint64_t offset = 0;
    std::uint32_t request = 0;
    int priority = 0; /**< LOG_EMERG … LOG_DEBUG, without the facility. */
    int result = 0;
    std::uint64_t slept_ms = 0; /**< How long the board was asleep, with what was skipped. */
    std::vector<std::string> arguments;
    std::string error; /**< "EIO": the access was refused with this; empty when it went through. */
};

} // namespace kt::terminal
