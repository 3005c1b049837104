/** What all nodes share, and the folders that live in memory. */
#include "terminal/model/node.h"

#include "terminal/model/memory_file.h"

#include <atomic>
#include <cerrno>
#include <linux/fs.h>

namespace kt::terminal {

namespace {

std::uint64_t next_ino()
{
    static std::atomic<std::uint64_t> last{1}; // 1 is the file system's root
    return ++last;
}

} // namespace

node::node(mode_t type_and_permissions) : ino_(next_ino()), mode_(type_and_permissions) {}

std::string node::path() const
{
    if (parent_ == nullptr)
        return "";
    return parent_->path() + '/' + name_;
}

void node::place(node* parent, std::string name)
{
    parent_ = parent;
    name_ = std::move(name);
}

struct stat node::status() const
{
    // One constant time for all: a time that moved would make the kernel throw a mapped picture's pages away.
    constexpr time_t built = 1'600'000'000;
    struct stat status {};
    status.st_ino = ino_;
    status.st_mode = mode_;
    status.st_nlink = is_folder() ? 2 : 1;
    // The kernel reads owners as the terminal's own numbers: 0 there, whoever started it. (st_uid and st_gid stay 0.)
    status.st_blksize = 4096;
    status.st_atim = status.st_mtim = status.st_ctim = timespec{built, 0};
    return status;
}

int node::change(const status_change& wanted)
{
    if (wanted.permissions)
        set_permissions(*wanted.permissions);
    return 0; // times stand still, and cutting means nothing to what is no stored file
}

result<std::unique_ptr<open_file>> node::open(int)
{
    return result<std::unique_ptr<open_file>>::failed(ENXIO);
}

directory::~directory()
{
    for (const auto& [name, child] : children_)
        child->place(nullptr, ""); // a program may hold it open longer
}

void directory::put(std::string name, node_ptr child)
{
    take(name);
    child->place(this, name);
    children_.insert_or_assign(std::move(name), std::move(child));
}

bool directory::take(std::string_view name)
{
    const auto found = children_.find(name);
    if (found == children_.end())
        return false;
    found->second->place(nullptr, "");
    children_.erase(found);
    return true;
}

node_ptr directory::look_up(std::string_view name)
{
    const auto found = children_.find(name);
    return found == children_.end() ? nullptr : found->second;
}

std::vector<folder_entry> directory::entries()
{
    std::vector<folder_entry> all;
    all.reserve(children_.size());
    for (const auto& [name, child] : children_)
        all.push_back({name, child->ino(), child->mode()});
    return all;
}

result<node_ptr> directory::make_node(std::string_view name, mode_t mode)
{
    if (growth_ == growth::fixed) // as kernel file systems without the operation answer
        return result<node_ptr>::failed(S_ISREG(mode) ? EACCES : EPERM);
    if (look_up(name) != nullptr)
        return result<node_ptr>::failed(EEXIST);
    node_ptr made;
    if (S_ISREG(mode))
        made = std::make_shared<memory_file>(mode & 07777, std::string{});
    else if (S_ISDIR(mode))
        made = std::make_shared<directory>(growth::free, mode & 07777);
    else if (S_ISFIFO(mode) || S_ISSOCK(mode))
        made = std::make_shared<special_node>(mode);
    else
        return result<node_ptr>::failed(EPERM);
    put(std::string(name), made);
    return made;
}

result<node_ptr> directory::make_link(std::string_view name, std::string_view target)
{
    if (growth_ == growth::fixed)
        return result<node_ptr>::failed(EPERM);
    if (look_up(name) != nullptr)
        return result<node_ptr>::failed(EEXIST);
    node_ptr made = std::make_shared<link_node>(std::string(target));
    put(std::string(name), made);
    return made;
}

int directory::unlink(std::string_view name)
{
    if (growth_ == growth::fixed)
        return EPERM;
    const node_ptr child = look_up(name);
    if (child == nullptr)
        return ENOENT;
    if (child->is_folder())
        return EISDIR;
    take(name);
    return 0;
}

int directory::remove_folder(std::string_view name)
{
    if (growth_ == growth::fixed)
        return EPERM;
    const node_ptr child = look_up(name);
    if (child == nullptr)
        return ENOENT;
    if (!child->is_folder())
        return ENOTDIR;
    if (!child->entries().empty())
        return ENOTEMPTY;
    take(name);
    return 0;
}

int directory::rename(std::string_view name, node& to, std::string_view new_name, unsigned flags)
{
    auto* target = dynamic_cast<directory*>(&to);
    if (growth_ == growth::fixed || target == nullptr || target->growth_ == growth::fixed)
        return EPERM;
    if ((flags & ~unsigned{RENAME_NOREPLACE}) != 0)
        return EINVAL;
    node_ptr moved = look_up(name);
    if (moved == nullptr)
        return ENOENT;
    if (const node_ptr old = target->look_up(new_name); old != nullptr && old != moved) {
        if ((flags & RENAME_NOREPLACE) != 0)
            return EEXIST;
        if (old->is_folder() && !moved->is_folder())
            return EISDIR;
        if (!old->is_folder() && moved->is_folder())
            return ENOTDIR;
        if (old->is_folder() && !old->entries().empty())
            return ENOTEMPTY;
    }
    take(name);
    target->put(std::string(new_name), std::move(moved));
    return 0;
}

struct stat link_node::status() const
{
    struct stat status = node::status();
    status.st_size = static_cast<off_t>(target_.size());
    return status;
}

} // namespace kt::terminal
