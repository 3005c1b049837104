/** What is asked of names: looking up, status, making, removing and moving. */
#include "terminal/fuse/operations.h"
#include "terminal/model/node.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

namespace {

void finish_look_up(operations& server, fuse_req_t asked, fuse_ino_t folder, const std::string& name, std::string path,
                    int error)
{
    fuse_entry_param entry{};
    journal* lines = nullptr;
    {
        const std::lock_guard lock(server.shown().tree_mutex());
        const node_ptr above = server.known().find(folder);
        const node_ptr found = above == nullptr || error != 0 ? nullptr : above->look_up(name);
        if (found != nullptr) {
            entry = server.entry_of(found);
            server.known().remember(found);
        } else {
            lines = above == nullptr ? nullptr : server.lines_for(*above);
            error = error == 0 ? ENOENT : error;
        }
    }
    if (error == 0) {
        if (fuse_reply_entry(asked, &entry) != 0)
            server.known().forget(entry.ino, 1);
        return;
    }
    if (lines != nullptr)
        server.write_down(lines, server.happened(asked, "missing", std::move(path)), error);
    fuse_reply_err(asked, error);
}

void look_up(fuse_req_t asked, fuse_ino_t folder, const char* name)
{
    operations& server = server_of(asked);
    std::string path = server.path_of(folder, name);
    const auto ruled = server.shown().failures().next(path, access::lookup);
    if (!ruled)
        return finish_look_up(server, asked, folder, name, std::move(path), 0);
    server.admit(asked, ruled, [&server, asked, folder, name = std::string(name), path](int error) {
        finish_look_up(server, asked, folder, name, path, error);
    });
}

void forget(fuse_req_t asked, fuse_ino_t ino, std::uint64_t times)
{
    server_of(asked).known().forget(ino, times);
    fuse_reply_none(asked);
}

void forget_multi(fuse_req_t asked, std::size_t count, fuse_forget_data* forgets)
{
    for (std::size_t i = 0; i < count; ++i)
        server_of(asked).known().forget(forgets[i].ino, forgets[i].nlookup);
    fuse_reply_none(asked);
}

void reply_status(operations& server, fuse_req_t asked, fuse_ino_t ino)
{
    struct stat status {};
    double kept_s = 1.0;
    {
        const std::lock_guard lock(server.shown().tree_mutex());
        const node_ptr found = server.known().find(ino);
        if (found == nullptr) {
            fuse_reply_err(asked, ESTALE);
            return;
        }
        status = found->status();
        status.st_ino = ino;
        kept_s = std::max(1.0, operations::kept_for_s(*found));
    }
    fuse_reply_attr(asked, &status, kept_s);
}

void get_status(fuse_req_t asked, fuse_ino_t ino, fuse_file_info*)
{
    reply_status(server_of(asked), asked, ino);
}

void set_status(fuse_req_t asked, fuse_ino_t ino, struct stat* wanted, int which, fuse_file_info*)
{
    operations& server = server_of(asked);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    status_change change;
    if ((which & FUSE_SET_ATTR_MODE) != 0)
        change.permissions = wanted->st_mode & 07777;
    if ((which & FUSE_SET_ATTR_SIZE) != 0)
        change.size = wanted->st_size;
    if ((which & FUSE_SET_ATTR_ATIME) != 0)
        change.accessed = (which & FUSE_SET_ATTR_ATIME_NOW) != 0 ? now : wanted->st_atim;
    if ((which & FUSE_SET_ATTR_MTIME) != 0)
        change.modified = (which & FUSE_SET_ATTR_MTIME_NOW) != 0 ? now : wanted->st_mtim;
    int error = ESTALE;
    {
        const std::lock_guard lock(server.shown().tree_mutex());
        if (const node_ptr found = server.known().find(ino))
            error = found->change(change);
    }
    if (error != 0)
        fuse_reply_err(asked, error);
    else
        reply_status(server, asked, ino);
}

void read_link(fuse_req_t asked, fuse_ino_t ino)
{
    operations& server = server_of(asked);
    const std::lock_guard lock(server.shown().tree_mutex());
    const node_ptr found = server.known().find(ino);
    auto target = found == nullptr ? result<std::string>::failed(ESTALE) : found->read_link();
    if (target)
        fuse_reply_readlink(asked, target->c_str());
    else
        fuse_reply_err(asked, target.error());
}

/** Makes a name with @p work and answers with what was made. */
void make(fuse_req_t asked, fuse_ino_t folder, const char* name,
          std::function<result<node_ptr>(node& folder, const std::string& name)> work)
{
    operations& server = server_of(asked);
    event line = server.happened(asked, "create", server.path_of(folder, name));
    server.at_name(asked, folder, name, access::create, std::move(line),
                   [&server, asked, work = std::move(work)](node& above, const std::string& called) {
                       result<node_ptr> made = work(above, called);
                       if (!made)
                           return operations::outcome{made.error(), {}};
                       server.known().remember(*made);
                       return operations::outcome{0, [&server, asked, entry = server.entry_of(*made)] {
                                                      if (fuse_reply_entry(asked, &entry) != 0)
                                                          server.known().forget(entry.ino, 1);
                                                  }};
                   });
}

void make_node(fuse_req_t asked, fuse_ino_t folder, const char* name, mode_t mode, dev_t)
{
    make(asked, folder, name, [mode](node& above, const std::string& called) { return above.make_node(called, mode); });
}

void make_folder(fuse_req_t asked, fuse_ino_t folder, const char* name, mode_t mode)
{
    make(asked, folder, name,
         [mode](node& above, const std::string& called) { return above.make_node(called, S_IFDIR | (mode & 07777)); });
}

void make_link(fuse_req_t asked, const char* target, fuse_ino_t folder, const char* name)
{
    make(asked, folder, name, [target = std::string(target)](node& above, const std::string& called) {
        return above.make_link(called, target);
    });
}

void remove(fuse_req_t asked, fuse_ino_t folder, const char* name, int (node::*work)(std::string_view))
{
    operations& server = server_of(asked);
    event line = server.happened(asked, "remove", server.path_of(folder, name));
    server.at_name(asked, folder, name, access::remove, std::move(line),
                   [asked, work](node& above, const std::string& called) {
                       return operations::outcome{(above.*work)(called), [asked] { fuse_reply_err(asked, 0); }};
                   });
}

void unlink(fuse_req_t asked, fuse_ino_t folder, const char* name)
{
    remove(asked, folder, name, &node::unlink);
}

void remove_folder(fuse_req_t asked, fuse_ino_t folder, const char* name)
{
    remove(asked, folder, name, &node::remove_folder);
}

void rename(fuse_req_t asked, fuse_ino_t folder, const char* name, fuse_ino_t new_folder, const char* new_name,
            unsigned flags)
{
    operations& server = server_of(asked);
    event line = server.happened(asked, "rename", server.path_of(folder, name));
    line.arguments = {server.path_of(new_folder, new_name)};
    server.at_name(
        asked, folder, name, access::remove, std::move(line),
        [&server, asked, new_folder, new_name = std::string(new_name), flags](node& above, const std::string& called) {
            const node_ptr target = server.known().find(new_folder);
            const int error = target == nullptr ? ESTALE : above.rename(called, *target, new_name, flags);
            return operations::outcome{error, [asked] { fuse_reply_err(asked, 0); }};
        });
}

/** A second name for one file would have pages of its own here; it is refused as on a file system without them. */
void make_second_name(fuse_req_t asked, fuse_ino_t, fuse_ino_t, const char*)
{
    fuse_reply_err(asked, EPERM);
}

/** The program is root on its board: only what cannot be executed by anybody is refused. */
void may_access(fuse_req_t asked, fuse_ino_t ino, int wanted)
{
    operations& server = server_of(asked);
    const std::lock_guard lock(server.shown().tree_mutex());
    const node_ptr found = server.known().find(ino);
    const bool refused =
        found != nullptr && (wanted & X_OK) != 0 && !found->is_folder() && (found->status().st_mode & 0111) == 0;
    fuse_reply_err(asked, refused ? EACCES : 0);
}

} // namespace

void set_name_operations(fuse_lowlevel_ops& table)
{
    table.lookup = look_up;
    table.forget = forget;
    table.forget_multi = forget_multi;
    table.getattr = get_status;
    table.setattr = set_status;
    table.readlink = read_link;
    table.mknod = make_node;
    table.mkdir = make_folder;
    table.symlink = make_link;
    table.unlink = unlink;
    table.rmdir = remove_folder;
    table.rename = rename;
    table.link = make_second_name;
    table.access = may_access;
}

} // namespace kt::terminal
