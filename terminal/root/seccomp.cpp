/** System call filters, for each way in which this processor's programs call. */
#include "terminal/root/seccomp.h"

#include "terminal/notified_calls.h"
#include "terminal/root/failure.h"

#include <asm/ioctls.h>
#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace kt::terminal {

namespace {

// The kernel looks at the low half of these arguments only.
constexpr unsigned low_half = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 4;
constexpr auto low_half_of(unsigned argument)
{
    return static_cast<unsigned>(offsetof(seccomp_data, args) + argument * sizeof(seccomp_data::args[0]) + low_half);
}

/** A call that is not let through: always, or when an argument is one of some values. */
struct rule {
    unsigned number;
    unsigned argument = 0;
    std::vector<unsigned> values{};
};

using filter_steps = std::vector<sock_filter>;

/** The steps for one call; its number is what was loaded last. */
void add_rule(filter_steps& filter, const rule& added, unsigned action)
{
    const auto count = static_cast<unsigned char>(added.values.size());
    const unsigned char past = count == 0 ? 1 : count + 3;
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, added.number, 0, past));
    if (count != 0)
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, low_half_of(added.argument)));
    unsigned char left = count;
    for (const unsigned value : added.values)
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, left--, 0));
    if (count != 0)
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, action));
}

/** What happens to these calls; all else goes through. */
filter_steps filter_on(std::vector<rule> (*rules_of)(const way_in&), unsigned action)
{
    filter_steps filter;
    for (const way_in& way : ways_in) {
        filter_steps steps = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
        for (const rule& each : rules_of(way))
            if (each.number != no_call)
                add_rule(steps, each, action);
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)));
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, way.architecture, 0, static_cast<unsigned char>(steps.size())));
        filter.insert(filter.end(), steps.begin(), steps.end());
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

std::vector<rule> typing(const way_in& way)
{
    return {{way.ioctl, 1, {TIOCSTI, TIOCLINUX}}};
}

std::vector<rule> answered_calls(const way_in& way)
{
    // The clocks that tell the calendar's time; the kernel lets only one of them be set.
    const std::vector<unsigned> set = {CLOCK_REALTIME};
    const std::vector<unsigned> read = {CLOCK_REALTIME, CLOCK_REALTIME_COARSE, CLOCK_REALTIME_ALARM, CLOCK_TAI};
    const bool narrowed = way.architecture == AUDIT_ARCH_X86_64; // there that call does other things too
    return {{way.ioctl, 1, {FIONREAD}},
            {way.clock_gettime, 0, read},
            {way.clock_gettime64, 0, read},
            {way.gettimeofday},
            {way.time},
            {way.thread_area, 0, narrowed ? std::vector{set_fs} : std::vector<unsigned>{}},
            {way.settimeofday},
            {way.clock_settime, 0, set},
            {way.clock_settime64, 0, set},
            {way.stime}};
}

int install(filter_steps filter, unsigned flags)
{
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
}

} // namespace

void forbid_typing()
{
    if (install(filter_on(typing, SECCOMP_RET_ERRNO | EPERM), 0) < 0)
        fail_step("install the terminal's system call filter", "the kernel needs CONFIG_SECCOMP_FILTER");
}

descriptor hand_over_calls()
{
    const filter_steps filter = filter_on(answered_calls, SECCOMP_RET_USER_NOTIF);
    // A call that was received is answered once, whatever signals come meanwhile; Linux before 5.19 lacks that flag.
    int receiver = install(filter, SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV);
    if (receiver < 0 && errno == EINVAL)
        receiver = install(filter, SECCOMP_FILTER_FLAG_NEW_LISTENER);
    return descriptor(receiver); // the kernel opened it with close-on-exec
}

} // namespace kt::terminal
