/** A system call filter that answers TIOCSTI and TIOCLINUX with EPERM, for each way in which this processor's programs
 * call. */
#include "terminal/root/seccomp.h"

#include "terminal/root/failure.h"

#include <asm/ioctls.h>
#include <cerrno>
#include <cstddef>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace kt::terminal {

namespace {

struct way_in {
    unsigned architecture;
    unsigned ioctl_number;
};

constexpr way_in ways_in[] = {
#if defined(__x86_64__)
    {AUDIT_ARCH_X86_64, 16},
    {AUDIT_ARCH_X86_64, 0x40000000 + 514}, // x32
    {AUDIT_ARCH_I386, 54},
#elif defined(__i386__)
    {AUDIT_ARCH_I386, 54},
#elif defined(__aarch64__)
    {AUDIT_ARCH_AARCH64, 29},
    {AUDIT_ARCH_ARM, 54},
#elif defined(__mips__) && defined(__MIPSEL__) && _MIPS_SIM == _ABIO32
    {AUDIT_ARCH_MIPSEL, __NR_ioctl},
#else
#error "name this processor's ways into ioctl(2)"
#endif
};

// The kernel looks at the low half of the request only.
constexpr unsigned low_half = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 4;
constexpr unsigned request_offset = offsetof(seccomp_data, args) + sizeof(seccomp_data::args[0]) + low_half;

} // namespace

void forbid_typing()
{
    std::vector<sock_filter> filter;
    for (const way_in& way : ways_in) {
        const sock_filter check[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, way.architecture, 0, 6),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, way.ioctl_number, 0, 4),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, request_offset),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TIOCSTI, 1, 0),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TIOCLINUX, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        };
        filter.insert(filter.end(), std::begin(check), std::end(check));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) < 0)
        fail_step("install the terminal's system call filter", "the kernel needs CONFIG_SECCOMP_FILTER");
}

} // namespace kt::terminal
