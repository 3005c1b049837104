/** What a desk test needs done by a program: takes the board down by system call, or runs a command without a right. */
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/reboot.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/** As a container's filter does. */
int forbid(unsigned call)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{sizeof steps / sizeof steps[0], steps};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) < 0)
        return -1;
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

int take_down(int how)
{
    if (getpid() == 1 || access("/run/kt-terminal/control", F_OK) < 0) { // never on the desk itself
        std::fputs("not on a terminal\n", stderr);
        return 1;
    }
    return reboot(how);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "restart") == 0)
        take_down(RB_AUTOBOOT);
    else if (argc == 2 && std::strcmp(argv[1], "power-off") == 0)
        take_down(RB_POWER_OFF);
    else if (argc > 2 && std::strcmp(argv[1], "without-namespaces") == 0 && forbid(SYS_unshare) == 0)
        execvp(argv[2], argv + 2);
    std::perror(argc > 1 ? argv[1] : "desk_helper");
    return 99;
}
