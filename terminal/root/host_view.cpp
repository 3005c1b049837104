/** Binding the host's folders into the terminal's root. */
#include "terminal/root/host_view.h"

#include "terminal/root/failure.h"
#include "terminal/root/listing.h"
#include "terminal/root/places.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

std::string folder_of(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

/** Whether the path leads to the same in the terminal as it stands and on the host. */
bool is_seen(const new_root& root, const std::string& path)
{
    const descriptor inside = root.find(path);
    struct stat there {};
    struct stat here {};
    return inside && fstat(inside.get(), &there) == 0 && stat(path.c_str(), &here) == 0 &&
           there.st_dev == here.st_dev && there.st_ino == here.st_ino;
}

void bind(const new_root& root, const std::string& path, access_kind access)
{
    const tree copied = tree::copy(path);
    if (!copied || !copied.restrict(access))
        fail_mount("take " + path + " from the host");
    root.put(copied, path);
}

void show_entry(const new_root& root, const std::string& path)
{
    struct stat entry {};
    if (lstat(path.c_str(), &entry) < 0)
        return; // such as another user's FUSE mount: hidden from us outside, too
    if (S_ISLNK(entry.st_mode)) {
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length > 0)
            root.make_link(path, std::string(target, static_cast<std::size_t>(length)));
    } else if (S_ISDIR(entry.st_mode)) {
        (void)root.make_folder(path);
        bind(root, path, access_kind::read_only);
    } else if (S_ISREG(entry.st_mode)) {
        (void)root.make_file(path);
        bind(root, path, access_kind::read_only);
    }
}

/** Such a path can be shown as resolved only. */
bool has_parent_steps(const std::string& path)
{
    return (path + '/').find("/../") != std::string::npos;
}

/** "/a//b/./c/.." becomes "/a/b", as owner_of() needs it; ".." behind a link stays, for it leads elsewhere. */
std::string tidy(const std::string& path)
{
    std::string made;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string step = path.substr(at, end - at);
        if (step == ".." && (made.empty() || resolved(made) == made))
            made.erase(std::min(made.rfind('/'), made.size()));
        else if (!step.empty() && step != ".")
            made += '/' + step;
        at = end + 1;
    }
    return made.empty() ? "/" : made;
}

/** Where the shell would find it on the host; empty if nowhere. */
std::string found_by_path(const std::string& name)
{
    const char* path = getenv("PATH");
    std::string left = path != nullptr ? path : "/bin:/usr/bin";
    while (!left.empty()) {
        const std::size_t end = std::min(left.find(':'), left.size());
        std::string candidate = left.substr(0, end) + '/' + name;
        struct stat entry {};
        if (candidate[0] == '/' && stat(candidate.c_str(), &entry) == 0 && S_ISREG(entry.st_mode) &&
            access(candidate.c_str(), X_OK) == 0)
            return candidate;
        left.erase(0, end + 1);
    }
    return {};
}

} // namespace

std::string absolute(const std::string& path, const std::string& working_folder)
{
    return tidy(path.starts_with('/') ? path : working_folder + '/' + path);
}

std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&free)> found(realpath(path.c_str(), nullptr), &free);
    return found ? found.get() : "";
}

void show_host(const new_root& root)
{
    for (const std::string& name : names_in("/")) {
        const std::string path = '/' + name;
        if (owner_of(path) == owner::host && name != "lost+found")
            show_entry(root, path);
    }
}

void show_folder(const new_root& root, const std::string& path)
{
    if (path.empty() || owner_of(path) == owner::terminal || is_seen(root, path))
        return;
    (void)root.make_folder(path);
    bind(root, path, access_kind::read_only);
}

void show_program(const new_root& root, const std::string& name, const std::string& working_folder)
{
    const std::string given =
        name.find('/') == std::string::npos ? found_by_path(name) : absolute(name, working_folder);
    if (given.empty())
        return;
    // The resolved places first: a link on the way to the given one may lead through them.
    const std::string file = resolved(given);
    if (!file.empty())
        show_folder(root, folder_of(file));
    show_folder(root, resolved(folder_of(given)));
    if (!has_parent_steps(given))
        show_folder(root, folder_of(given));

    struct stat entry {};
    for (const std::string& place : {file, given}) {
        if (place.empty() || owner_of(place) != owner::empty || is_seen(root, place) || has_parent_steps(place) ||
            stat(place.c_str(), &entry) < 0 || !S_ISREG(entry.st_mode))
            continue;
        (void)root.make_file(place);
        bind(root, place, access_kind::read_only);
    }
}

void show_writable(const new_root& root, const std::string& path, const std::string& working_folder)
{
    const std::string given = absolute(path, working_folder);
    const std::string folder = resolved(given);
    struct stat entry {};
    if (folder.empty() || stat(folder.c_str(), &entry) < 0 || !S_ISDIR(entry.st_mode)) {
        if (!folder.empty())
            errno = ENOTDIR;
        fail_step("bind the folder " + path);
    }
    if (owner_of(folder) == owner::terminal)
        throw setup_failure{terminal_failed, "cannot bind the folder " + path + ": the terminal has its own " + folder +
                                                 "; name a folder below it "
                                                 "or elsewhere"};
    (void)root.make_folder(folder);
    bind(root, folder, access_kind::writable);
    if (!has_parent_steps(given) && owner_of(given) != owner::terminal && !is_seen(root, given)) {
        (void)root.make_folder(given);
        bind(root, given, access_kind::writable);
    }
}

} // namespace kt::terminal
