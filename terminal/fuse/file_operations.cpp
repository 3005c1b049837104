/** What is asked of files: opening, reading, writing, requests. */
#include "terminal/fuse/operations.h"
#include "terminal/model/node.h"
#include "terminal/model/open_flags.h"

#include <cerrno>
#include <utility>

namespace kt::terminal {

namespace {

/** The kernel only asks of what it was given and has not released. */
std::shared_ptr<opened_node> opened_by(operations& server, const fuse_file_info* info)
{
    return server.opens().find<opened_node>(info->fh);
}

/** Keeps the open and puts it into the answer. */
void set_answer(operations& server, fuse_file_info& info, std::unique_ptr<opened_node> made)
{
    info.direct_io = made->file->cached() ? 0 : 1;
    info.noflush = 1;
    info.fh = server.opens().keep(std::move(made));
}

/** Opens a node for a program. The tree's lock is held. */
result<std::unique_ptr<opened_node>> open_node(operations& server, const node_ptr& found, int flags)
{
    auto file = found->open(flags);
    if (!file)
        return result<std::unique_ptr<opened_node>>::failed(file.error());
    auto made = std::make_unique<opened_node>();
    made->opened = found;
    made->path = found->path();
    made->lines = server.lines_for(*found);
    made->file = std::move(*file);
    return made;
}

void finish_open(operations& server, fuse_req_t asked, fuse_ino_t ino, fuse_file_info info, std::string path, int error)
{
    std::unique_ptr<opened_node> made;
    journal* lines = nullptr;
    {
        const std::lock_guard lock(server.shown().tree_mutex());
        const node_ptr found = server.known().find(ino);
        lines = found == nullptr ? nullptr : server.lines_for(*found);
        if (found == nullptr) {
            error = ESTALE;
        } else if (error == 0) {
            auto opened = open_node(server, found, info.flags);
            error = opened.error();
            if (opened)
                made = std::move(*opened);
        }
    }
    if (lines != nullptr) {
        event line = server.happened(asked, "open", std::move(path));
        line.flags = open_flags_text(info.flags);
        server.write_down(lines, std::move(line), error);
    }
    if (error != 0) {
        fuse_reply_err(asked, error);
        return;
    }
    set_answer(server, info, std::move(made));
    if (fuse_reply_open(asked, &info) != 0)
        server.opens().release(info.fh); // the caller was interrupted: the kernel will not
}

void open(fuse_req_t asked, fuse_ino_t ino, fuse_file_info* info)
{
    operations& server = server_of(asked);
    std::string path = server.path_of(ino);
    const auto ruled = server.shown().failures().next(path, access::open);
    if (!ruled)
        return finish_open(server, asked, ino, *info, std::move(path), 0);
    server.admit(asked, ruled, [&server, asked, ino, info = *info, path](int error) {
        finish_open(server, asked, ino, info, path, error);
    });
}

void create(fuse_req_t asked, fuse_ino_t folder, const char* name, mode_t mode, fuse_file_info* info)
{
    operations& server = server_of(asked);
    event line = server.happened(asked, "create", server.path_of(folder, name));
    line.flags = open_flags_text(info->flags);
    server.at_name(asked, folder, name, access::create, std::move(line),
                   [&server, asked, mode, info = *info](node& above, const std::string& called) {
                       auto made = above.make_node(called, S_IFREG | (mode & 07777));
                       if (!made)
                           return operations::outcome{made.error(), {}};
                       auto opened = open_node(server, *made, info.flags);
                       if (!opened)
                           return operations::outcome{opened.error(), {}};
                       server.known().remember(*made);
                       auto file = std::make_shared<std::unique_ptr<opened_node>>(std::move(*opened));
                       return operations::outcome{0, [&server, asked, info, file, entry = server.entry_of(*made)] {
                                                      fuse_file_info answer = info;
                                                      set_answer(server, answer, std::move(*file));
                                                      if (fuse_reply_create(asked, &entry, &answer) == 0)
                                                          return;
                                                      server.opens().release(answer.fh);
                                                      server.known().forget(entry.ino, 1);
                                                  }};
                   });
}

void read(fuse_req_t asked, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info)
{
    operations& server = server_of(asked);
    const auto used = opened_by(server, info);
    event line;
    if (used->lines != nullptr)
        line = server.happened(asked, "read", used->path);
    line.size = size;
    line.offset = static_cast<std::uint64_t>(offset);
    request_ptr waiting = std::make_unique<question>(asked, used->lines, std::move(line));
    auto ruled = used->file->held();
    if (!ruled)
        ruled = server.shown().failures().next(used->path, access::read);
    if (!ruled)
        return used->file->read(std::move(waiting), size, offset);
    // A step must be copyable.
    server.admit(asked, ruled,
                 [used, shared = std::make_shared<request_ptr>(std::move(waiting)), size, offset](int error) {
                     if (error != 0)
                         (*shared)->fail(error);
                     else
                         used->file->read(std::move(*shared), size, offset);
                 });
}

void write(fuse_req_t asked, fuse_ino_t, const char* bytes, std::size_t size, off_t offset, fuse_file_info* info)
{
    operations& server = server_of(asked);
    const auto used = opened_by(server, info);
    const std::string_view data(bytes, size);
    event line = server.happened(asked, "write", used->path);
    if (used->lines != nullptr)
        line.data = data;
    line.offset = static_cast<std::uint64_t>(offset);
    request_ptr waiting = std::make_unique<question>(asked, used->lines, std::move(line));
    const auto ruled = server.shown().failures().next(used->path, access::write);
    if (!ruled)
        return used->file->write(std::move(waiting), data, offset);
    server.admit(asked, ruled,
                 [used, shared = std::make_shared<request_ptr>(std::move(waiting)), kept = std::string(data),
                  offset](int error) {
                     if (error != 0)
                         (*shared)->fail(error);
                     else
                         used->file->write(std::move(*shared), kept, offset);
                 });
}

void release(fuse_req_t asked, fuse_ino_t, fuse_file_info* info)
{
    server_of(asked).opens().release(info->fh);
    fuse_reply_err(asked, 0);
}

void sync(fuse_req_t asked, fuse_ino_t, int, fuse_file_info* info)
{
    fuse_reply_err(asked, opened_by(server_of(asked), info)->file->sync());
}

void allocate(fuse_req_t asked, fuse_ino_t, int mode, off_t offset, off_t length, fuse_file_info* info)
{
    fuse_reply_err(asked, opened_by(server_of(asked), info)->file->allocate(mode, offset, length));
}

/** No node of the board takes requests yet: they fail as on any file that is no device. */
void request_on(fuse_req_t asked, fuse_ino_t, unsigned number, void*, fuse_file_info* info, unsigned flags, const void*,
                std::size_t, std::size_t)
{
    operations& server = server_of(asked);
    std::string path;
    journal* lines = nullptr;
    if ((flags & FUSE_IOCTL_DIR) == 0) {
        const auto used = opened_by(server, info);
        path = used->path;
        lines = used->lines;
    }
    const auto ruled = server.shown().failures().next(path, access::ioctl);
    server.admit(asked, ruled, [&server, asked, number, path, lines](int error) {
        const int answer = error != 0 ? error : ENOTTY;
        if (lines != nullptr) {
            event line = server.happened(asked, "ioctl", path);
            line.request = number;
            server.write_down(lines, std::move(line), answer);
        }
        fuse_reply_err(asked, answer);
    });
}

} // namespace

void set_file_operations(fuse_lowlevel_ops& table)
{
    table.open = open;
    table.create = create;
    table.read = read;
    table.write = write;
    table.release = release;
    table.fsync = sync;
    table.fallocate = allocate;
    table.ioctl = request_on;
}

} // namespace kt::terminal
