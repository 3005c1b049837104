/** The filters behind refused_call.h. */
#include "refused_call.h"

#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <span>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>

namespace kt::tests {

namespace {

constexpr unsigned allow = SECCOMP_RET_ALLOW;

unsigned fail_with(int error)
{
    return SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA);
}

void install(std::span<sock_filter> program)
{
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) < 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) < 0)
        throw std::runtime_error("cannot refuse a system call");
}

} // namespace

void refuse_system_call(long number, int error)
{
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, fail_with(error)),
        BPF_STMT(BPF_RET | BPF_K, allow),
    };
    install(program);
}

void refuse_fork(int error)
{
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)), // the flags; little-endian: their lower half
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_VM, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, fail_with(error)),
        BPF_STMT(BPF_RET | BPF_K, allow),
    };
    install(program);
}

} // namespace kt::tests
