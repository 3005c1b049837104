/** Mounting procfs, and covering what would reach the host's kernel. */
#include "terminal/root/process_view.h"

#include "terminal/root/failure.h"
#include "terminal/root/listing.h"

#include <cerrno>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

/** Whether an entry of /proc is neither a process nor known to be harmless: a folder, or a file that can be written. */
bool needs_a_cover(const std::string& path, const std::string& name)
{
    if ((name[0] >= '0' && name[0] <= '9') || name == "sys" || name == "cmdline")
        return false;
    struct stat entry {};
    if (lstat(path.c_str(), &entry) < 0)
        return false;
    return S_ISDIR(entry.st_mode) || (S_ISREG(entry.st_mode) && (entry.st_mode & 0222) != 0);
}

/** The inner root is the outer one to these files if that one started the terminal: sysrq-trigger, irq, bus, fs, acpi …
 */
void make_read_only(const new_root& root, const std::string& proc)
{
    for (const std::string& name : names_in(proc)) {
        const std::string path = proc + '/' + name;
        if (!needs_a_cover(path, name))
            continue;
        const tree copied = tree::copy(path, false);
        if (!copied || !copied.restrict(access_kind::read_only))
            fail_mount("make /proc/" + name + " read-only");
        root.put(copied, "/proc/" + name);
    }
}

} // namespace

void show_processes(const new_root& root, const board_view& board)
{
    const std::string proc = new_root::outside("/proc");
    (void)root.make_folder("/proc");
    if (mount("proc", proc.c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0) {
        make_read_only(root, proc);
    } else if (errno == EPERM) {
        // Where /proc is partly masked (a container, another terminal) the kernel grants no new one: the old one's
        // numbers then differ from getpid(), all else works.
        const tree old = tree::copy("/proc");
        if (!old || !old.restrict(access_kind::read_only))
            fail_mount("take /proc from the host");
        root.put(old, "/proc");
    } else {
        fail_mount("mount the terminal's /proc", "proc");
    }
    board.show("/proc/cmdline");
    board.show("/proc/sys");
}

} // namespace kt::terminal
