/** The set-up helper: makes the terminal's namespaces and root, starts its process 1, and reports how that ended. */
#include "terminal/own_folder.h"
#include "terminal/root/arguments.h"
#include "terminal/root/board_view.h"
#include "terminal/root/failure.h"
#include "terminal/root/host_view.h"
#include "terminal/root/init.h"
#include "terminal/root/namespaces.h"
#include "terminal/root/new_root.h"
#include "terminal/root/overlays.h"
#include "terminal/root/packets.h"
#include "terminal/root/places.h"
#include "terminal/root/sockets.h"
#include "terminal/root/watch.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

constexpr unsigned long no_devices = MS_NOSUID | MS_NODEV;

/** The foreground program's signals come to the whole group; the helper lives until it knows how the program ended. */
void survive_signals()
{
    for (const int number :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2, SIGTSTP, SIGTTIN, SIGTTOU})
        signal(number, SIG_IGN);
    signal(SIGCHLD, SIG_DFL);
}

std::string current_folder()
{
    char path[PATH_MAX];
    if (getcwd(path, sizeof path) == nullptr)
        fail_step("find the working folder");
    return path;
}

/** Whether somebody sits at a terminal, whose keys must reach the program as they reach the caller. */
bool has_person()
{
    return static_cast<bool>(descriptor(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)));
}

/** The folder of this program, in which the stand-in program lies too. */
std::string program_folder()
{
    const std::string self = resolved("/proc/self/exe");
    if (self.empty())
        fail_step("find the terminal's own programs", "/proc must be mounted");
    return self.substr(0, self.rfind('/'));
}

/** Everything that can be made while the server is not there yet, and then what the server needs. */
board_view begin(const new_root& root, const launch_options& options, int channel)
{
    root.mount_new("tmpfs", parts_folder, no_devices, "mode=0755");
    root.mount_new("tmpfs", "/run", no_devices, "mode=0755");
    (void)root.make_folder(own::folder);
    const descriptor control = make_control_socket(new_root::outside(own::control));
    const descriptor log = make_log_socket(new_root::outside(own::log));
    const descriptor state = open_state(options.state);
    board_view board(root);
    const descriptor device = board.take_device();
    if (!send_descriptors(channel, packet_kind::descriptors, 0, {device.get(), state.get(), control.get(), log.get()}))
        fail_step("reach the terminal");
    return board;
}

void show_memory(const new_root& root)
{
    root.mount_new("tmpfs", "/tmp", no_devices, "mode=1777");
    root.mount_new("tmpfs", "/mnt", no_devices, "mode=0755");
    const std::string locks = new_root::outside("/run/lock");
    if (mkdir(locks.c_str(), 0777) < 0 || chmod(locks.c_str(), 01777) < 0)
        fail_step("make /run/lock in the terminal");
}

void show_devices(const new_root& root, const board_view& board)
{
    board.show_all();
    root.mount_new("devpts", "/dev/pts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620");
    root.mount_new("tmpfs", "/dev/shm", no_devices, "mode=1777");
}

void show_stand_ins(const new_root& root, const std::string& programs)
{
    for (const char* name : {"/standin", "/gsm0710muxd_bp", "/hwclock", "/pppd"}) {
        const tree program = tree::copy(programs + name, false);
        if (!program || !program.restrict(access_kind::read_only))
            fail_step("take the stand-in program " + programs + name + " from the host",
                      "the installation is incomplete");
        const std::string place = std::string(own::folder) + name;
        (void)root.make_file(place);
        root.put(program, place);
    }
}

/** After the empty folders are there, and before an overlay makes the host's folders look like others. */
void show_callers_folders(const new_root& root, const launch_options& options, const std::string& working_folder,
                          const std::string& programs)
{
    show_folder(root, working_folder);
    show_folder(root, resolved(programs + "/../..")); // an installation or build folder: libraries lie beside programs
    show_program(root, options.program[0], working_folder);
    if (!options.sysroot.empty())
        show_folder(root, resolved(absolute(options.sysroot, working_folder)));
}

int set_up_and_watch(const helper_arguments& given)
{
    const launch_options& options = given.options;
    const std::string working_folder = current_folder();
    const std::string programs = program_folder();
    const mode_t callers_umask = umask(0);
    const bool person = has_person(); // asked of the host's /dev/tty

    enter_namespaces();
    const new_root root;
    const board_view board = begin(root, options, given.channel);
    show_host(root);
    show_memory(root);
    show_devices(root, board); // from here on the server must answer
    show_stand_ins(root, programs);
    show_callers_folders(root, options, working_folder, programs);
    if (!options.sysroot.empty())
        lay_sysroot(root, absolute(options.sysroot, working_folder));
    lay_stand_ins(root, options.stand_ins);
    for (const std::string& folder : options.writable)
        show_writable(root, folder, working_folder);

    int outcome[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, outcome) < 0)
        fail_step("make a socket pair");
    const pid_t init = fork();
    if (init < 0)
        fail_step("start the terminal's process 1");
    if (init == 0) {
        close(outcome[0]);
        run_init(root, board, {options.program, working_folder, callers_umask, !person}, outcome[1],
                 descriptor(given.channel));
    }
    close(outcome[1]);
    return watch(init, outcome[0], given.channel);
}

int run(int argc, const char* const* argv)
{
    int channel = -1;
    try {
        const helper_arguments given = from_arguments(argc, argv);
        channel = given.channel;
        if (fcntl(channel, F_SETFD, FD_CLOEXEC) < 0)
            fail_step("reach the terminal");
        survive_signals();
        return set_up_and_watch(given);
    } catch (const setup_failure& failed) {
        if (!send_packet(channel, packet_kind::failed, failed.status, failed.sentence))
            fprintf(stderr, "%s\n", failed.sentence.c_str());
    } catch (const std::exception& error) {
        (void)send_packet(channel, packet_kind::failed, terminal_failed,
                          std::string("the set-up failed: ") + error.what());
    }
    return terminal_failed;
}

} // namespace

} // namespace kt::terminal

int main(int argc, char** argv)
{
    return kt::terminal::run(argc, argv);
}
