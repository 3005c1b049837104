/** The tree behind /kt and /mnt/data: every call goes on to the kept folder, by the place below its top. */
#include "terminal/model/stored.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <memory>
#include <unistd.h>

namespace kt::terminal {

namespace {

/** Not set-user-id and set-group-id: a kept file may be the desk's root's own, and outlive the terminal. */
constexpr mode_t kept_permissions = 01777;

} // namespace

class stored::opened : public open_file {
public:
    explicit opened(descriptor file) : file_(std::move(file)) {}

    bool cached() const override { return true; }

    void read(request_ptr asked, std::size_t size, off_t offset) override
    {
        std::string part(size, '\0');
        const ssize_t got = pread(file_.get(), part.data(), size, offset);
        if (got < 0)
            return asked->fail(errno);
        asked->bytes(std::string_view(part).substr(0, static_cast<std::size_t>(got)));
    }

    void write(request_ptr asked, std::string_view data, off_t offset) override
    {
        const ssize_t put = pwrite(file_.get(), data.data(), data.size(), offset);
        if (put < 0)
            return asked->fail(errno);
        asked->count(static_cast<std::size_t>(put));
    }

    int sync() override { return fsync(file_.get()) == 0 ? 0 : errno; }

    int allocate(int mode, off_t offset, off_t length) override
    {
        return fallocate(file_.get(), mode, offset, length) == 0 ? 0 : errno;
    }

private:
    descriptor file_;
};

std::shared_ptr<stored> stored::top(descriptor folder)
{
    auto made = std::make_shared<stored>(std::make_shared<const descriptor>(std::move(folder)), mode_t{S_IFDIR | 0755});
    made->top_ = true;
    return made;
}

stored::~stored()
{
    for (const auto& [name, child] : children_)
        child->place(nullptr, "");
}

std::string stored::place_below_top() const
{
    if (top_)
        return ".";
    const auto* above = static_cast<const stored*>(parent());
    return above == nullptr ? "" : above->place_of(name());
}

std::string stored::place_of(std::string_view name) const
{
    std::string place = place_below_top();
    if (place.empty())
        return place; // and not "/name", which is somewhere on the desk
    place += '/';
    place += name;
    return place;
}

int stored::read_status(struct stat& status) const
{
    if (orphan_)
        return fstat(orphan_.get(), &status) == 0 ? 0 : errno;
    return fstatat(folder_->get(), place_below_top().c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

struct stat stored::status() const
{
    struct stat status {};
    if (read_status(status) != 0) {
        status = node::status();
        status.st_nlink = 0;
    }
    status.st_ino = ino();
    status.st_uid = 0; // the program is root on its board, and owns all there is
    status.st_gid = 0;
    return status;
}

int stored::change(const status_change& wanted)
{
    // An orphan or a link has no name to change it by; the descriptor's own name in /proc serves all.
    descriptor own;
    int fd = orphan_.get();
    if (fd < 0) {
        own = descriptor(openat(folder_->get(), place_below_top().c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!own)
            return errno;
        fd = own.get();
    }
    char itself[sizeof "/proc/self/fd/" + 12];
    std::snprintf(itself, sizeof itself, "/proc/self/fd/%d", fd);
    if (wanted.permissions && chmod(itself, *wanted.permissions & kept_permissions) != 0)
        return errno;
    if (wanted.size && truncate(itself, *wanted.size) != 0)
        return errno;
    if (wanted.accessed || wanted.modified) {
        constexpr timespec keep{0, UTIME_OMIT};
        const timespec times[2] = {wanted.accessed.value_or(keep), wanted.modified.value_or(keep)};
        if (utimensat(AT_FDCWD, itself, times, 0) != 0)
            return errno;
    }
    return 0;
}

result<std::unique_ptr<open_file>> stored::open(int flags)
{
    // The kernel places appended bytes itself, and has cut, made or refused before it asks.
    const int kept = (flags & O_ACCMODE) | O_NOFOLLOW | O_CLOEXEC;
    descriptor file;
    if (orphan_) {
        char itself[sizeof "/proc/self/fd/" + 12];
        std::snprintf(itself, sizeof itself, "/proc/self/fd/%d", orphan_.get());
        file = descriptor(::open(itself, (flags & O_ACCMODE) | O_CLOEXEC));
    } else {
        file = descriptor(openat(folder_->get(), place_below_top().c_str(), kept));
    }
    if (!file)
        return result<std::unique_ptr<open_file>>::failed(errno);
    if ((flags & O_TRUNC) != 0 && ftruncate(file.get(), 0) != 0)
        return result<std::unique_ptr<open_file>>::failed(errno);
    std::unique_ptr<open_file> made = std::make_unique<opened>(std::move(file));
    return made;
}

result<std::string> stored::read_link() const
{
    std::string target(PATH_MAX, '\0');
    const ssize_t length = orphan_
                               ? readlinkat(orphan_.get(), "", target.data(), target.size())
                               : readlinkat(folder_->get(), place_below_top().c_str(), target.data(), target.size());
    if (length < 0)
        return result<std::string>::failed(errno);
    target.resize(static_cast<std::size_t>(length));
    return target;
}

node_ptr stored::adopt(std::string_view name)
{
    struct stat status {};
    if (fstatat(folder_->get(), place_of(name).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        forget(name);
        return nullptr;
    }
    if (const auto known = children_.find(name); known != children_.end()) {
        if ((known->second->mode() & S_IFMT) == (status.st_mode & S_IFMT))
            return known->second;
        forget(name); // somebody at the desk put another thing there
    }
    auto child = std::make_shared<stored>(folder_, status.st_mode);
    child->place(this, std::string(name));
    children_.emplace(name, child);
    return child;
}

void stored::forget(std::string_view name)
{
    const auto known = children_.find(name);
    if (known == children_.end())
        return;
    known->second->place(nullptr, "");
    children_.erase(known);
}

node_ptr stored::look_up(std::string_view name)
{
    return adopt(name);
}

std::vector<folder_entry> stored::entries()
{
    std::vector<folder_entry> all;
    const int fd = openat(folder_->get(), place_below_top().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return all;
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fdopendir(fd), closedir);
    if (!listing) {
        ::close(fd);
        return all;
    }
    while (const dirent* each = readdir(listing.get())) {
        const std::string_view name = each->d_name;
        if (name != "." && name != "..")
            all.push_back({std::string(name), each->d_ino, static_cast<mode_t>(DTTOIF(each->d_type))});
    }
    return all;
}

result<node_ptr> stored::make_node(std::string_view name, mode_t mode)
{
    const std::string place = place_of(name);
    const int made = S_ISDIR(mode) ? mkdirat(folder_->get(), place.c_str(), mode & kept_permissions)
                                   : mknodat(folder_->get(), place.c_str(), mode & (S_IFMT | kept_permissions), 0);
    if (made != 0)
        return result<node_ptr>::failed(errno);
    // The program's own mask has been applied; the desk's must not be applied on top.
    (void)fchmodat(folder_->get(), place.c_str(), mode & kept_permissions, 0);
    return adopt(name);
}

result<node_ptr> stored::make_link(std::string_view name, std::string_view target)
{
    if (symlinkat(std::string(target).c_str(), folder_->get(), place_of(name).c_str()) != 0)
        return result<node_ptr>::failed(errno);
    return adopt(name);
}

int stored::drop(std::string_view name, int flags)
{
    const std::string place = place_of(name);
    const auto known = children_.find(name);
    descriptor still;
    if (known != children_.end())
        still = descriptor(openat(folder_->get(), place.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (unlinkat(folder_->get(), place.c_str(), flags) != 0)
        return errno;
    if (known != children_.end()) {
        known->second->orphan_ = std::move(still);
        forget(name);
    }
    return 0;
}

int stored::unlink(std::string_view name)
{
    return drop(name, 0);
}

int stored::remove_folder(std::string_view name)
{
    return drop(name, AT_REMOVEDIR);
}

int stored::rename(std::string_view name, node& to, std::string_view new_name, unsigned flags)
{
    auto* target = dynamic_cast<stored*>(&to);
    if (target == nullptr || target->folder_ != folder_)
        return EXDEV;
    if ((flags & ~unsigned{RENAME_NOREPLACE}) != 0)
        return EINVAL; // no two names change places
    const node_ptr moved = adopt(name);
    if (moved == nullptr)
        return ENOENT;
    const std::string new_place = target->place_of(new_name);
    const node_ptr old = target->adopt(new_name);
    descriptor still;
    if (old != nullptr && old != moved)
        still = descriptor(openat(folder_->get(), new_place.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (renameat2(folder_->get(), place_of(name).c_str(), folder_->get(), new_place.c_str(), flags) != 0)
        return errno;
    if (old != nullptr && old != moved && still)
        std::static_pointer_cast<stored>(old)->orphan_ = std::move(still);
    forget(name);
    target->forget(new_name);
    auto child = std::static_pointer_cast<stored>(moved);
    child->place(target, std::string(new_name));
    target->children_.emplace(new_name, std::move(child));
    return 0;
}

bool stored::put_file(std::string_view name, std::string_view bytes, mode_t permissions)
{
    const std::string place = place_of(name);
    const descriptor file(
        openat(folder_->get(), place.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file || fchmod(file.get(), permissions & kept_permissions) != 0)
        return false;
    while (!bytes.empty()) {
        const ssize_t put = ::write(file.get(), bytes.data(), bytes.size());
        if (put < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

std::optional<std::string> stored::file_bytes() const
{
    const descriptor file(
        openat(folder_->get(), place_below_top().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    std::string bytes;
    char part[16384];
    for (ssize_t got = 0; (got = ::read(file.get(), part, sizeof part)) > 0;)
        bytes.append(part, static_cast<std::size_t>(got));
    return bytes;
}

void stored::remove_all(std::string_view name)
{
    if (const node_ptr child = adopt(name); child != nullptr && child->is_folder())
        for (const folder_entry& each : child->entries())
            static_cast<stored&>(*child).remove_all(each.name);
    if (drop(name, 0) == EISDIR)
        drop(name, AT_REMOVEDIR);
}

} // namespace kt::terminal
