/** Mounting the board, and showing /sys, /dev, /kt, /mnt/data and the stand-ins' report file from it. */
#include "terminal/root/board_view.h"

#include "terminal/own_folder.h"
#include "terminal/root/failure.h"
#include "terminal/root/places.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

/** Where pppd looks for its peers, options and secrets; a board keeps them in /kt/ppp. */
constexpr const char* settings_of_ppp = "/etc/ppp";

const char* cure_of_open()
{
    switch (errno) {
    case ENOENT:
        return "load FUSE with 'sudo modprobe fuse'; start a container with '--device /dev/fuse'";
    case EACCES:
        return "let users open it with 'sudo chmod 0666 /dev/fuse'";
    case EPERM:
        return "the container may not use this device; start it with '--device /dev/fuse'";
    case ENODEV:
    case ENXIO:
        return "load FUSE with 'sudo modprobe fuse'";
    default:
        return "";
    }
}

descriptor open_fuse()
{
    descriptor device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (!device && errno == ENOENT) {
        device = descriptor(open(own::fuse, O_RDWR | O_CLOEXEC));
        errno = ENOENT;
    }
    if (!device)
        fail_step("open /dev/fuse", cure_of_open());
    return device;
}

/** Asks the kernel alone: nobody serves the board's files yet. */
int device_number_of(const std::string& mounted)
{
    struct statx status {};
    if (statx(AT_FDCWD, mounted.c_str(), AT_STATX_DONT_SYNC, 0, &status) < 0)
        fail_step("find the board's device number");
    return static_cast<int>(status.stx_dev_minor);
}

} // namespace

board_view::board_view(const new_root& root)
    : root_(root), mounted_at_(std::string(parts_folder) + "/board"), device_(open_fuse())
{
    const std::string options = "fd=" + std::to_string(device_.get()) + ",rootmode=40000,user_id=0,group_id=0";
    root.mount_new("fuse", mounted_at_, MS_NOSUID | MS_NODEV, options.c_str());
    device_number_ = device_number_of(new_root::outside(mounted_at_));
}

void board_view::show_at(const std::string& part, const std::string& path) const
{
    const tree copied = tree::copy(new_root::outside(mounted_at_ + part), false);
    if (!copied)
        fail_step("take " + part + " from the board");
    root_.put(copied, path);
}

void board_view::show_all() const
{
    for (const char* folder : {"/sys", "/dev", "/kt", "/mnt/data"}) {
        (void)root_.make_folder(folder);
        show(folder);
    }
    for (const char* node : {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"}) {
        const tree device = tree::copy(node, false);
        if (!device || !device.restrict(access_kind::devices))
            fail_step(std::string("take ") + node + " from the host");
        root_.put(device, node);
    }
    (void)root_.make_file(own::report);
    show_at("/run/report", own::report);
    show_settings_of_ppp();

    // For terminals inside this one, whose /dev is a board's.
    tree fuse = tree::copy("/dev/fuse", false);
    if (!fuse)
        fuse = tree::copy(own::fuse, false);
    if (fuse && fuse.restrict(access_kind::devices)) {
        (void)root_.make_file(own::fuse);
        root_.put(fuse, own::fuse);
    }
}

void board_view::show_settings_of_ppp() const
{
    const std::string boards = "/kt/ppp";
    struct stat there {};
    const bool host_has_it = static_cast<bool>(root_.find(std::string(settings_of_ppp) + "/."));
    if (host_has_it && stat(new_root::outside(mounted_at_ + boards + "/.").c_str(), &there) == 0)
        show_at(boards, settings_of_ppp);
}

descriptor open_state(const std::string& state)
{
    if (!state.empty()) {
        if (mkdir(state.c_str(), 0755) < 0 && errno != EEXIST)
            fail_step("make the state folder " + state);
        descriptor folder(open(state.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!folder)
            fail_step("open the state folder " + state);
        return folder;
    }
    // Mounted nowhere: it lives as long as the descriptor.
    const descriptor context(fsopen("tmpfs", FSOPEN_CLOEXEC));
    if (!context || fsconfig(context.get(), FSCONFIG_SET_STRING, "mode", "0755", 0) < 0 ||
        fsconfig(context.get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) < 0)
        fail_mount("make the board's memory", "tmpfs");
    const descriptor made(fsmount(context.get(), FSMOUNT_CLOEXEC, MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV));
    descriptor folder(openat(made.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        fail_mount("open the board's memory", "tmpfs");
    return folder;
}

} // namespace kt::terminal
