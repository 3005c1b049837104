/** Mounting the board, and showing /sys, /dev, /kt, /mnt/data and the stand-ins' report file from it. */
#include "terminal/root/board_view.h"

#include "terminal/root/failure.h"
#include "terminal/root/places.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

/** Inside another terminal, whose /dev is a board's, the node lies in that terminal's own folder. */
constexpr const char* spare_fuse_node = "/run/kt-terminal/fuse";

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
        device = descriptor(open(spare_fuse_node, O_RDWR | O_CLOEXEC));
        errno = ENOENT;
    }
    if (!device)
        fail_step("open /dev/fuse", cure_of_open());
    return device;
}

} // namespace

board_view::board_view(const new_root& root)
    : root_(root), mounted_at_(std::string(parts_folder) + "/board"), device_(open_fuse())
{
    const std::string options = "fd=" + std::to_string(device_.get()) + ",rootmode=40000,user_id=0,group_id=0";
    root.mount_new("fuse", mounted_at_, MS_NOSUID | MS_NODEV, options.c_str());
}

void board_view::show(const std::string& path) const
{
    const tree part = tree::copy(new_root::outside(mounted_at_ + path), false);
    if (!part)
        fail_step("take " + path + " from the board");
    root_.put(part, path);
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
    const std::string report = std::string(own_folder) + "/report";
    (void)root_.make_file(report);
    const tree part = tree::copy(new_root::outside(mounted_at_ + "/run/report"), false);
    if (!part)
        fail_step("take the stand-ins' report file from the board");
    root_.put(part, report);

    // For terminals inside this one.
    tree fuse = tree::copy("/dev/fuse", false);
    if (!fuse)
        fuse = tree::copy(spare_fuse_node, false);
    if (fuse && fuse.restrict(access_kind::devices)) {
        (void)root_.make_file(spare_fuse_node);
        root_.put(fuse, spare_fuse_node);
    }
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
