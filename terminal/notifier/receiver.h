/** System calls that the kernel holds back until this process has answered them. */
#pragma once

#include "terminal/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace kt::terminal {

struct way_in;

/** One call. */
struct waiting_call {
    std::uint64_t id = 0;
    pid_t thread = 0;            /**< By this process's numbers. */
    const way_in* way = nullptr; /**< How it came; null: by none of those that are known. */
    unsigned number = 0;
    std::uint64_t arguments[3] = {};
};

/** Threads: one. */
class receiver {
public:
    /** @p notified is the descriptor that seccomp(2) gave. Throws std::runtime_error. */
    explicit receiver(descriptor notified);

    /** For poll(2): POLLIN when a call waits, POLLHUP when no caller is left. */
    int descriptor_number() const { return notified_.get(); }

    /** The next call; nothing when its caller is gone. */
    std::optional<waiting_call> next();

    /** False: its caller is gone; its number may soon be another's. */
    bool still_waits(const waiting_call& call) const;

    /** Copies to the caller's memory, or from there; false: a bad address. */
    static bool copy_out(const waiting_call& call, std::uint64_t address, const void* from, std::size_t size);
    static bool copy_in(const waiting_call& call, void* to, std::uint64_t address, std::size_t size);

    /** Ends a call: with an errno, or with a result. */
    void answer(const waiting_call& call, int error, std::int64_t result = 0);

    /** Lets the kernel do the call. */
    void let_through(const waiting_call& call);

private:
    void send(std::uint64_t id, int error, std::int64_t result, std::uint32_t flags);

    descriptor notified_;
    std::vector<std::uint64_t> question_; // as long as this kernel's records are
    std::vector<std::uint64_t> answer_;
};

} // namespace kt::terminal
