/** Read-only overlays: stand-in programs over the host's, foreign libraries beside the host's. */
#include "terminal/root/overlays.h"

#include "terminal/own_folder.h"
#include "terminal/root/failure.h"
#include "terminal/root/places.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <utility>

namespace kt::terminal {

namespace {

bool is_folder(const descriptor& place)
{
    struct stat entry {};
    return place && fstat(place.get(), &entry) == 0 && S_ISDIR(entry.st_mode);
}

bool same_place(const descriptor& one, const descriptor& other)
{
    struct stat first {};
    struct stat second {};
    return fstat(one.get(), &first) == 0 && fstat(other.get(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

/** A path with any character in it passes as a descriptor. */
std::string by_number(const descriptor& folder)
{
    return "/proc/self/fd/" + std::to_string(folder.get());
}

/** The first layer wins. */
void lay_over(const descriptor& place, const std::vector<const descriptor*>& layers, const std::string& path)
{
    std::string options = "lowerdir=";
    for (const descriptor* layer : layers)
        options.append(layer == layers.front() ? "" : ":").append(by_number(*layer));
    if (mount("overlay", by_number(place).c_str(), "overlay", MS_RDONLY | MS_NOSUID | MS_NODEV, options.c_str()) == 0)
        return;
    const std::string step = "lay an overlay over " + path;
    if (errno == EINVAL)
        fail_step(step, "the host's " + path +
                            " is already an overlay of overlays, or something is mounted below it; "
                            "start the terminal outside the container");
    fail_mount(step, "overlay");
}

bool holds_one_of(const descriptor& folder, const std::vector<std::string>& names)
{
    struct stat entry {};
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return fstatat(folder.get(), name.c_str(), &entry, AT_SYMLINK_NOFOLLOW) == 0;
    });
}

} // namespace

void lay_stand_ins(const new_root& root, const std::vector<std::string>& names)
{
    if (names.empty())
        return;
    const std::string links = std::string(parts_folder) + "/stand-ins";
    const descriptor stand_ins = root.make_folder(links);
    for (const std::string& name : names) {
        if (name.empty() || name.find('/') != std::string::npos)
            throw setup_failure{terminal_failed, "a stand-in needs a name without a slash, not \"" + name + "\""};
        if (symlinkat(own::standin, stand_ins.get(), name.c_str()) < 0 && errno != EEXIST)
            fail_step("make the stand-in " + name);
    }

    // All names everywhere: also what the host lacks is found by any PATH, and an ordinary user's has no sbin.
    std::vector<std::pair<const char*, descriptor>> places; // found before the first is covered, to tell links apart
    for (const char* path : {"/usr/bin", "/usr/sbin", "/bin", "/sbin", "/usr/local/bin", "/usr/local/sbin"}) {
        descriptor place = root.find(path);
        const auto known = [&](const auto& other) { return same_place(other.second, place); };
        if (!is_folder(place) || std::any_of(places.begin(), places.end(), known))
            continue;
        if (!std::string(path).starts_with("/usr/local") || holds_one_of(place, names))
            places.emplace_back(path, std::move(place));
    }
    for (const auto& [path, place] : places)
        lay_over(place, {&stand_ins, &place}, path);
}

void lay_sysroot(const new_root& root, const std::string& sysroot)
{
    const descriptor usr_lib(open((sysroot + "/usr/lib").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const descriptor lib(open((sysroot + "/lib").c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!usr_lib && !lib)
        fail_step("find " + sysroot + "/usr/lib", "--sysroot names a folder that holds a foreign system's usr/lib");

    const descriptor host_usr_lib = root.find("/usr/lib");
    const descriptor host_lib = root.find("/lib");
    const bool merged = !host_lib || same_place(host_lib, host_usr_lib);
    std::vector<const descriptor*> layers{&host_usr_lib};
    if (usr_lib)
        layers.push_back(&usr_lib);
    if (lib && merged)
        layers.push_back(&lib);
    if (layers.size() > 1)
        lay_over(host_usr_lib, layers, "/usr/lib");
    if (!merged)
        lay_over(host_lib, {&host_lib, lib ? &lib : &usr_lib}, "/lib");
}

} // namespace kt::terminal
