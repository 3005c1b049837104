/** A pppd of the test's own: a script that is found before the system's. */
#pragma once

#include <string>
#include <sys/types.h>

namespace kt::tests {

/** While this lives, "pppd" is the script. It starts with writing its process number into a file of its own. */
class own_pppd {
public:
    /** @p script is bash's. As it stands a pppd that runs until a signal ends it. */
    explicit own_pppd(const std::string& script = "exec sleep 1000");
    ~own_pppd();
    own_pppd(const own_pppd&) = delete;
    own_pppd& operator=(const own_pppd&) = delete;

    /** Waits until it runs, by its turn; its process number. Throws when it does not. */
    pid_t wait_for_start();

    /** From now on no pppd is found at all, not even the system's. */
    void remove();

private:
    std::string path_;
};

/** Waits until a child has ended and leaves it to be reaped; its wait status, whoever it is. */
int wait_for_end_of_child();

/** Waits until a file holds this text. */
bool wait_for_bytes(const std::string& path, const std::string& bytes);

/** Writes into the pipe of the session, as the scripts of pppd do. */
void notify(const std::string& bytes);

} // namespace kt::tests
