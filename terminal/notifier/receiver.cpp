/** The requests of a seccomp notification descriptor. */
#include "terminal/notifier/receiver.h"

#include "terminal/notified_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <linux/seccomp.h>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

// Since Linux 6.6.
#ifndef SECCOMP_IOCTL_NOTIF_SET_FLAGS
#define SECCOMP_IOCTL_NOTIF_SET_FLAGS SECCOMP_IOW(4, __u64)
#define SECCOMP_USER_NOTIF_FD_SYNC_WAKE_UP (1UL << 0)
#endif

namespace kt::terminal {

namespace {

std::vector<std::uint64_t> room_for(std::size_t kernels, std::size_t ours)
{
    return std::vector<std::uint64_t>((std::max(kernels, ours) + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
}

/** Two ways may have one architecture: the number tells them apart. */
const way_in* way_of(const seccomp_data& called)
{
    for (const way_in& way : ways_in) {
        const unsigned numbers[] = {way.ioctl,           way.thread_area, way.settimeofday, way.clock_settime,
                                    way.clock_settime64, way.stime,       way.gettimeofday, way.clock_gettime,
                                    way.clock_gettime64, way.time};
        const auto number = static_cast<unsigned>(called.nr);
        if (way.architecture == called.arch &&
            std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers))
            return &way;
    }
    return nullptr;
}

} // namespace

receiver::receiver(descriptor notified) : notified_(std::move(notified))
{
    seccomp_notif_sizes sizes{};
    if (syscall(SYS_seccomp, SECCOMP_GET_NOTIF_SIZES, 0, &sizes) < 0)
        throw std::runtime_error(std::string("cannot receive the program's requests: ") + std::strerror(errno));
    question_ = room_for(sizes.seccomp_notif, sizeof(seccomp_notif));
    answer_ = room_for(sizes.seccomp_notif_resp, sizeof(seccomp_notif_resp));
    // Caller and answerer take turns: on one processor a call takes half the time. Without it, all works too.
    (void)ioctl(notified_.get(), SECCOMP_IOCTL_NOTIF_SET_FLAGS, SECCOMP_USER_NOTIF_FD_SYNC_WAKE_UP);
}

std::optional<waiting_call> receiver::next()
{
    std::fill(question_.begin(), question_.end(), 0); // the kernel insists
    if (ioctl(notified_.get(), SECCOMP_IOCTL_NOTIF_RECV, question_.data()) < 0)
        return std::nullopt;
    seccomp_notif question{};
    std::memcpy(&question, question_.data(), sizeof question);
    waiting_call call{
        question.id, static_cast<pid_t>(question.pid), nullptr, static_cast<unsigned>(question.data.nr), {}};
    std::copy_n(std::begin(question.data.args), std::size(call.arguments), std::begin(call.arguments));
    call.way = way_of(question.data);
    return call;
}

bool receiver::still_waits(const waiting_call& call) const
{
    std::uint64_t id = call.id;
    return ioctl(notified_.get(), SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}

bool receiver::copy_out(const waiting_call& call, std::uint64_t address, const void* from, std::size_t size)
{
    const iovec ours{const_cast<void*>(from), size};
    const iovec theirs{reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
    return process_vm_writev(call.thread, &ours, 1, &theirs, 1, 0) == static_cast<ssize_t>(size);
}

bool receiver::copy_in(const waiting_call& call, void* to, std::uint64_t address, std::size_t size)
{
    const iovec ours{to, size};
    const iovec theirs{reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
    return process_vm_readv(call.thread, &ours, 1, &theirs, 1, 0) == static_cast<ssize_t>(size);
}

void receiver::answer(const waiting_call& call, int error, std::int64_t result)
{
    send(call.id, error, error == 0 ? result : 0, 0);
}

void receiver::let_through(const waiting_call& call)
{
    send(call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
}

void receiver::send(std::uint64_t id, int error, std::int64_t result, std::uint32_t flags)
{
    seccomp_notif_resp response{};
    response.id = id;
    response.val = result;
    response.error = -error;
    response.flags = flags;
    std::memcpy(answer_.data(), &response, sizeof response);
    (void)ioctl(notified_.get(), SECCOMP_IOCTL_NOTIF_SEND, answer_.data()); // refused if the caller is gone
}

} // namespace kt::terminal
