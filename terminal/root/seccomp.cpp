/** System call filters on requests of ioctl(2), for each way in which this processor's programs call. */
#include "terminal/root/seccomp.h"

#include "terminal/root/failure.h"

#include <asm/ioctls.h>
#include <cerrno>
#include <cstddef>
#include <initializer_list>
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

/** What happens to these requests; all else goes through. */
std::vector<sock_filter> filter_on(std::initializer_list<unsigned> requests, unsigned action)
{
    std::vector<sock_filter> filter;
    const auto count = static_cast<unsigned char>(requests.size());
    for (const way_in& way : ways_in) {
        const sock_filter way_steps[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, way.architecture, 0, static_cast<unsigned char>(count + 4)),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, way.ioctl_number, 0, static_cast<unsigned char>(count + 2)),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, request_offset),
        };
        filter.insert(filter.end(), std::begin(way_steps), std::end(way_steps));
        unsigned char left = count;
        for (const unsigned request : requests) {
            --left;
            const unsigned char past_action = left == 0 ? 1 : 0;
            filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, request, left, past_action));
        }
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, action));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

int install(std::vector<sock_filter> filter, unsigned flags)
{
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
}

} // namespace

void forbid_typing()
{
    if (install(filter_on({TIOCSTI, TIOCLINUX}, SECCOMP_RET_ERRNO | EPERM), 0) < 0)
        fail_step("install the terminal's system call filter", "the kernel needs CONFIG_SECCOMP_FILTER");
}

descriptor hand_over_waiting_bytes()
{
    const std::vector<sock_filter> filter = filter_on({FIONREAD}, SECCOMP_RET_USER_NOTIF);
    // A call that was received is answered once, whatever signals come meanwhile; Linux before 5.19 lacks that flag.
    int receiver = install(filter, SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV);
    if (receiver < 0 && errno == EINVAL)
        receiver = install(filter, SECCOMP_FILTER_FLAG_NEW_LISTENER);
    return descriptor(receiver); // the kernel opened it with close-on-exec
}

} // namespace kt::terminal
