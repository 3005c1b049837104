/** The ptrace loop behind traced_program.h; the same code traces 64- and 32-bit programs of the tracer's own kind. */
#include "tests/support/traced_program.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kt::tests {

namespace {

using namespace std::chrono_literals;

/** How far a call gets before its signal: long enough that it sleeps, short against the sleeps that tests ask for. */
constexpr auto moment = 20ms;

constexpr int call_stop = SIGTRAP | 0x80; // PTRACE_O_TRACESYSGOOD's mark

template <typename Data>
void trace(int request, pid_t pid, std::uintptr_t address, Data data)
{
    if (ptrace(static_cast<__ptrace_request>(request), pid, reinterpret_cast<void*>(address), data) < 0)
        throw std::runtime_error("ptrace failed");
}

} // namespace

traced_program::traced_program(const std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    pid_ = fork();
    if (pid_ == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    if (pid_ < 0 || waitpid(pid_, &status, 0) != pid_ || !WIFSTOPPED(status))
        throw std::runtime_error("cannot start a traced program");
    trace(PTRACE_SETOPTIONS, pid_, 0, reinterpret_cast<void*>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
}

traced_program::~traced_program()
{
    if (pid_ < 0)
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

int traced_program::run()
{
    std::uintptr_t signal_to_deliver = 0;
    then next = then::go_on;
    for (;;) {
        if (next == then::end)
            kill(pid_, SIGKILL);
        else
            trace(PTRACE_SYSCALL, pid_, 0, reinterpret_cast<void*>(signal_to_deliver));
        if (next == then::interrupt) {
            std::this_thread::sleep_for(moment);
            kill(pid_, SIGUSR1);
        }
        signal_to_deliver = 0;
        next = then::go_on;

        int status = 0;
        if (waitpid(pid_, &status, 0) != pid_)
            throw std::runtime_error("lost a traced program");
        if (!WIFSTOPPED(status)) {
            pid_ = -1;
            return status;
        }
        const int stop = WSTOPSIG(status);
        if (stop == call_stop)
            next = at_call();
        else if (stop != SIGTRAP && stop != SIGSTOP) // the exec and the start are not the program's business
            signal_to_deliver = static_cast<std::uintptr_t>(stop);
    }
}

then traced_program::at_call()
{
    __ptrace_syscall_info stop{};
    trace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof(stop), &stop);
    if (stop.op == PTRACE_SYSCALL_INFO_ENTRY) {
        current_ = system_call{};
        current_.number = stop.entry.nr;
        for (std::size_t i = 0; i < current_.arguments.size(); ++i)
            current_.arguments[i] = stop.entry.args[i];
        return began(current_);
    }
    if (stop.op == PTRACE_SYSCALL_INFO_EXIT) {
        current_.result = stop.exit.rval;
        finished(current_);
    }
    return then::go_on;
}

void traced_program::copy_from(std::uint64_t address, void* to, std::size_t size) const
{
    iovec here{to, size};
    iovec there{reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
    if (process_vm_readv(pid_, &here, 1, &there, 1, 0) != static_cast<ssize_t>(size))
        throw std::runtime_error("cannot read a traced program's memory");
}

} // namespace kt::tests
