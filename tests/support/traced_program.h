/** A program run under ptrace, so that a test sees its system calls as the kernel gets them. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::tests {

/** One system call of the traced program's first thread. */
struct system_call {
    std::uint64_t number = 0; /**< SYS_…, of this machine. */
    std::array<std::uint64_t, 6> arguments{};
    std::int64_t result = 0; /**< On the way out: the result, or a negative error number. */
};

/** What a watcher wants done after it has seen a call begin. */
enum class then {
    go_on,
    interrupt, /**< Let the call run for a moment, then send SIGUSR1. */
    end,       /**< Kill the program before the call happens. */
};

/** Runs a program from its first instruction to its end. */
class traced_program {
public:
    explicit traced_program(const std::vector<std::string>& command);
    ~traced_program();
    traced_program(const traced_program&) = delete;
    traced_program& operator=(const traced_program&) = delete;

    /** Called at each call's begin and end. */
    std::function<then(const system_call&)> began = [](const system_call&) { return then::go_on; };
    std::function<void(const system_call&)> finished = [](const system_call&) {};

    /** Runs to the end; the wait status. */
    int run();

    /** The program's memory; call while it stands in a call. */
    void copy_from(std::uint64_t address, void* to, std::size_t size) const;

private:
    /** Handles a stop at a call's begin or end. */
    then at_call();

    pid_t pid_ = -1;
    system_call current_;
};

} // namespace kt::tests
