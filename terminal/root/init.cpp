/** Process 1: /proc, the way into the root, and the program's life. */
#include "terminal/root/init.h"

#include "terminal/root/failure.h"
#include "terminal/root/namespaces.h"
#include "terminal/root/packets.h"
#include "terminal/root/places.h"
#include "terminal/root/process_view.h"
#include "terminal/root/program.h"
#include "terminal/root/seccomp.h"

#include <csignal>
#include <poll.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace kt::terminal {

namespace {

/** The helper's death ends the terminal, however it dies. */
void die_with_helper(int outcome)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd helper{outcome, 0, 0};
    if (poll(&helper, 1, 0) != 0) // it went before the line above
        _exit(terminal_failed);
}

void finish_root(const new_root& root, const board_view& board)
{
    show_processes(root, board);
    const std::string parts = new_root::outside(parts_folder);
    if (umount2(parts.c_str(), MNT_DETACH) < 0 || rmdir(parts.c_str()) < 0)
        fail_mount("clear the building site of the terminal's root");
    root.enter();
}

/** Where this cannot be, the kernel answers them, and the terminal is of use all the same. */
void hand_over_requests(const board_view& board, descriptor channel)
{
    const descriptor receiver = hand_over_calls();
    if (receiver && !send_descriptors(channel.get(), packet_kind::receiver, board.device_number(), {receiver.get()}))
        fail_step("reach the terminal");
}

pid_t start_program(const program_start& start, int outcome)
{
    const pid_t program = fork();
    if (program < 0)
        fail_step("start the program's process");
    if (program > 0)
        return program;
    try {
        become_program(start);
    } catch (const setup_failure& failed) {
        send_packet(outcome, packet_kind::failed, failed.status, failed.sentence);
        _exit(failed.status);
    }
}

/** Until the program itself has ended; what it leaves behind ends with this process. */
void reap(pid_t program, int outcome)
{
    for (;;) {
        int status = 0;
        const pid_t gone = waitpid(-1, &status, 0);
        if (gone != program)
            continue;
        if (WIFSIGNALED(status))
            send_packet(outcome, packet_kind::killed, WTERMSIG(status));
        else
            send_packet(outcome, packet_kind::exited, WEXITSTATUS(status));
        return;
    }
}

} // namespace

void run_init(const new_root& root, const board_view& board, const program_start& start, int outcome,
              descriptor channel)
{
    try {
        die_with_helper(outcome);
        finish_root(root, board);
        forbid_typing();
        hand_over_requests(board, std::move(channel));
        give_up_mounting();
        reap(start_program(start, outcome), outcome);
    } catch (const setup_failure& failed) {
        send_packet(outcome, packet_kind::failed, failed.status, failed.sentence);
    }
    _exit(0);
}

} // namespace kt::terminal
