/** Building and entering the program's root folder, with the mount calls of Linux 5.12. */
#include "terminal/root/new_root.h"

#include "terminal/root/failure.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace kt::terminal {

namespace {

/** Where it is built: of the host's /sys nothing is ever shown, so nothing is lost by covering it. */
constexpr const char* building_site = "/sys";

int find_below(int root, const std::string& path)
{
    open_how how{};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT;
    return static_cast<int>(syscall(SYS_openat2, root, path.c_str(), &how, sizeof how));
}

std::string parent_of(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string name_of(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

tree tree::copy(const std::string& path, bool whole)
{
    tree made;
    const unsigned flags = OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | (whole ? static_cast<unsigned>(AT_RECURSIVE) : 0u);
    made.mount_ = descriptor(open_tree(AT_FDCWD, path.c_str(), flags));
    return made;
}

bool tree::restrict(access_kind access, bool whole) const
{
    mount_attr wanted{};
    wanted.attr_set = MOUNT_ATTR_NOSUID;
    if (access != access_kind::writable)
        wanted.attr_set |= MOUNT_ATTR_RDONLY;
    if (access != access_kind::devices)
        wanted.attr_set |= MOUNT_ATTR_NODEV;
    const unsigned flags = AT_EMPTY_PATH | (whole ? static_cast<unsigned>(AT_RECURSIVE) : 0u);
    return mount_setattr(mount_.get(), "", flags, &wanted, sizeof wanted) == 0;
}

new_root::new_root()
{
    if (mount("root", building_site, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") < 0)
        fail_mount("mount the terminal's root", "tmpfs");
    root_ = descriptor(open(building_site, O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root_)
        fail_step("open the terminal's root");
}

descriptor new_root::find(const std::string& path) const
{
    return descriptor(find_below(root_.get(), path));
}

descriptor new_root::make_folder(const std::string& path) const
{
    descriptor found = find(path);
    if (found)
        return found;
    const descriptor above = make_folder(parent_of(path));
    if (mkdirat(above.get(), name_of(path).c_str(), 0755) < 0 && errno != EEXIST)
        fail_step("make " + path + " in the terminal");
    found = find(path);
    if (!found)
        fail_step("make " + path + " in the terminal", "a link lies there that leads nowhere in the terminal");
    return found;
}

descriptor new_root::make_file(const std::string& path) const
{
    descriptor found = find(path);
    if (found)
        return found;
    const descriptor above = make_folder(parent_of(path));
    const descriptor made(openat(above.get(), name_of(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!made)
        fail_step("make " + path + " in the terminal");
    return find(path);
}

void new_root::make_link(const std::string& path, const std::string& target) const
{
    const descriptor above = make_folder(parent_of(path));
    if (symlinkat(target.c_str(), above.get(), name_of(path).c_str()) < 0)
        fail_step("make the link " + path + " in the terminal");
}

void new_root::put(const tree& what, const std::string& path) const
{
    const descriptor place = find(path);
    if (!place || move_mount(what.get(), "", place.get(), "", MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) < 0)
        fail_mount("show " + path + " in the terminal");
}

void new_root::mount_new(const char* type, const std::string& path, unsigned long flags, const char* options) const
{
    const descriptor place = make_folder(path);
    const std::string target = "/proc/self/fd/" + std::to_string(place.get());
    if (mount(type, target.c_str(), type, flags, options) < 0)
        fail_mount("mount " + path + " of the terminal (" + type + ")", type);
}

std::string new_root::outside(const std::string& path)
{
    return building_site + path;
}

void new_root::enter() const
{
    mount_attr sealed{};
    sealed.attr_set = MOUNT_ATTR_RDONLY;
    if (mount_setattr(root_.get(), "", AT_EMPTY_PATH, &sealed, sizeof sealed) < 0)
        fail_mount("make the terminal's root read-only");
    // With both names ".", the host's root ends on top of the new one, from where it is taken away.
    if (chdir(building_site) < 0 || syscall(SYS_pivot_root, ".", ".") < 0 || umount2(".", MNT_DETACH) < 0 ||
        chdir("/") < 0)
        fail_mount("enter the terminal's root");
}

} // namespace kt::terminal
