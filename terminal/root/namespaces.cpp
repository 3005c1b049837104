/** Making the terminal's own user, mount, process, network, IPC and host name namespaces. */
#include "terminal/root/namespaces.h"

#include "terminal/descriptor.h"
#include "terminal/root/failure.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/capability.h>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace kt::terminal {

namespace {

bool setting_is(const char* path, char value)
{
    const int cause = errno;
    const descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    char first = 0;
    const bool same = file && read(file.get(), &first, 1) == 1 && first == value;
    errno = cause;
    return same;
}

/** Why unshare(2) was refused, as far as the machine shows it. */
std::string cure_of_unshare()
{
    switch (errno) {
    case ENOSPC:
        return "namespaces are switched off or used up; allow more with 'sudo sysctl user.max_user_namespaces=10000' "
               "(and likewise user.max_mnt_namespaces, max_pid_, max_net_, max_ipc_ and max_uts_namespaces)";
    case EPERM:
        if (setting_is("/proc/sys/kernel/unprivileged_userns_clone", '0'))
            return "allow user namespaces with 'sudo sysctl kernel.unprivileged_userns_clone=1'";
        if (setting_is("/proc/sys/kernel/apparmor_restrict_unprivileged_userns", '1'))
            return "allow user namespaces with 'sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0'";
        return "a container's filter or a security module forbids user namespaces; start the container with "
               "'--privileged' or with '--security-opt seccomp=unconfined --device /dev/fuse'";
    case EINVAL:
    case ENOSYS:
        return "the kernel was built without user, process, network or IPC namespaces";
    default:
        return {};
    }
}

void write_map(const char* path, const std::string& text)
{
    const descriptor file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        fail_step(std::string("write ") + path,
                  errno == EROFS ? "inside two terminals there is no room for a third"
                                 : "a security module restricts user namespaces; on Ubuntu allow them with "
                                   "'sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0'");
}

/** The network namespace begins with its loopback interface down. */
void raise_loopback()
{
    const descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq loopback{};
    loopback.ifr_name[0] = 'l';
    loopback.ifr_name[1] = 'o';
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    if (any) // a kernel without IPv4 has nothing to raise
        (void)ioctl(any.get(), SIOCSIFFLAGS, &loopback);
}

} // namespace

void enter_namespaces()
{
    const std::string uid = std::to_string(geteuid());
    const std::string gid = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS) < 0)
        fail_step("make the terminal's namespaces", cure_of_unshare());
    write_map("/proc/self/setgroups", "deny");
    write_map("/proc/self/uid_map", "0 " + uid + " 1\n");
    write_map("/proc/self/gid_map", "0 " + gid + " 1\n");

    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) < 0)
        fail_mount("take the mounts apart from the host's");
    constexpr std::string_view host_name = "kt-terminal";
    if (sethostname(host_name.data(), host_name.size()) < 0)
        fail_step("set the terminal's host name");
    raise_loopback();
}

void give_up_mounting()
{
    // Root inside owns the mounts there and could make them writable again. Without this one capability it cannot, and
    // a user namespace that a program makes below gets them locked. ptrace, kill, chroot, the network stay allowed.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    if (prctl(PR_CAPBSET_DROP, CAP_SYS_ADMIN, 0, 0, 0) < 0 || syscall(SYS_capget, &header, sets) < 0)
        fail_step("give up the right to mount");
    constexpr unsigned keep = ~(1u << CAP_SYS_ADMIN);
    sets[0].effective &= keep;
    sets[0].permitted &= keep;
    sets[0].inheritable &= keep;
    if (syscall(SYS_capset, &header, sets) < 0)
        fail_step("give up the right to mount");
}

} // namespace kt::terminal
