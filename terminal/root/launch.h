/** The terminal's own side of the set-up helper: starts it, receives what it opened inside, and waits for the program's
 * end. */
#pragma once

#include "terminal/descriptor.h"

#include <functional>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::terminal {

/** All that the helper must know. */
struct launch_options {
    std::vector<std::string> program;  /**< The program and its arguments. */
    std::vector<std::string> writable; /**< Folders bound at their own paths, writable (--bind). */
    std::vector<std::string> stand_ins; /**< Names of programs that the stand-in program lies under: "sh", "reboot" … */
    std::string
        sysroot;       /**< Folder whose usr/lib (and lib) is laid under the root's, for foreign programs; or empty. */
    std::string state; /**< Folder that keeps /kt and /mnt/data (--state); empty: fresh, in memory. */
};

/** What the helper opened inside. */
struct inner_descriptors {
    descriptor fuse;    /**< /dev/fuse of the mounted board; serving must begin before the helper goes on. */
    descriptor state;   /**< The folder in which /kt and /mnt/data are kept. */
    descriptor control; /**< Listening stream socket in the terminal's own folder, for programs inside. */
    descriptor log;     /**< Bound datagram socket behind /dev/log, with SO_PASSCRED. */
};

/** Where programs' calls wait for their answer: FIONREADs, and what sets or reads the clock. */
struct waiting_requests {
    descriptor receiver;
    pid_t helper = -1;         /**< The set-up helper, whose children's namespace is the terminal's. */
    unsigned board_device = 0; /**< The minor device number of the board's files (the major one is 0). */
};

/** What the terminal does with what the helper opened; each is called once at most. */
struct servers {
    std::function<void(inner_descriptors)> serve; /**< Must return with the board being served. */
    /** Never called where the kernel answers alone. Keeps the receiver: once that is closed, no program can start. */
    std::function<void(waiting_requests)> answer;
};

/** How the terminal ended. */
struct launch_result {
    enum class end { exited, killed, restart, power_off, failed } how = end::failed;
    int value = 0;       /**< exited: status; killed: signal; failed: 125 to 127, as env and timeout use them. */
    std::string message; /**< failed: a sentence that says what to do. */
};

/** One start of the helper. The helper and all below it die with this object, or with the process. */
class launch {
public:
    explicit launch(launch_options options);
    ~launch();
    launch(const launch&) = delete;
    launch& operator=(const launch&) = delete;

    /** Starts the helper, hands over what it opened, and waits for the program's end. */
    launch_result run(const servers& begin);

    /** Ends the program from another thread (SIGKILL to its pid 1). */
    void stop();

private:
    launch_options options_;
    std::mutex mutex_; // of the next two, which stop() reads
    int channel_ = -1;
    bool stopped_ = false;
    pid_t helper_ = -1;
};

} // namespace kt::terminal
