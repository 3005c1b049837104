/** The sentences that name cause and cure of a set-up that the machine refuses. */
#include "terminal/root/failure.h"

#include <cerrno>
#include <cstring>

namespace kt::terminal {

void fail_step(const std::string& step, const std::string& cure)
{
    std::string sentence = "cannot " + step + " (" + strerror(errno) + ")";
    if (!cure.empty())
        sentence += ": " + cure;
    throw setup_failure{terminal_failed, sentence};
}

void fail_mount(const std::string& step, const std::string& file_system)
{
    switch (errno) {
    case ENODEV:
        fail_step(step, "the kernel lacks the file system " + file_system + "; load it with 'sudo modprobe " +
                            file_system + "'");
    case EPERM:
    case EACCES:
        fail_step(step, "a security module restricts mounts in user namespaces; on Ubuntu allow them with "
                        "'sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0', in a container start it with "
                        "'--security-opt apparmor=unconfined' or '--privileged'");
    case ENOSYS:
        fail_step(step,
                  "the terminal needs Linux 5.16 or newer, and a container's filter that lets its mount calls pass");
    case ENOSPC:
        fail_step(step, "too many mounts; raise the limit with 'sudo sysctl fs.mount-max=100000'");
    default:
        fail_step(step);
    }
}

} // namespace kt::terminal
