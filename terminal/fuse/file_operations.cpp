/** What is asked of files: opening, reading, writing, requests. */
#include "terminal/fuse/operations.h"
#include "terminal/model/node.h"
#include "terminal/model/open_flags.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/fuse.h>
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

/** Answers an open. False: the caller was interrupted, and the kernel will not release what it was given. */
bool reply_open(fuse_req_t asked, const fuse_file_info& info, const open_file& file)
{
    if (!file.stream())
        return fuse_reply_open(asked, &info) == 0;
    // By hand: libfuse does not know the flags of devices whose calls wait side by side.
    fuse_open_out answer{};
    answer.fh = info.fh;
    answer.open_flags =
        FOPEN_DIRECT_IO | FOPEN_NOFLUSH | FOPEN_NONSEEKABLE | FOPEN_STREAM | FOPEN_PARALLEL_DIRECT_WRITES;
    return fuse_reply_buf(asked, reinterpret_cast<const char*>(&answer), sizeof answer) == 0;
}

/** False: what would wait fails with EAGAIN. The kernel tells the flags as they are at each call. */
bool may_wait(const fuse_file_info& info)
{
    return (info.flags & O_NONBLOCK) == 0;
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
    const auto kept = opened_by(server, &info); // the program may close it before the answer is through
    if (!reply_open(asked, info, *kept->file))
        server.opens().release(info.fh);
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
    request_ptr waiting = std::make_unique<transfer>(server, asked, used->lines, std::move(line), may_wait(*info));
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
    request_ptr waiting = std::make_unique<transfer>(server, asked, used->lines, std::move(line), may_wait(*info));
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

/** A folder takes none. */
void request_on_folder(fuse_req_t asked)
{
    operations& server = server_of(asked);
    server.admit(asked, server.shown().failures().next("", access::ioctl),
                 [asked](int error) { fuse_reply_err(asked, error != 0 ? error : ENOTTY); });
}

void request_on(fuse_req_t asked, fuse_ino_t, unsigned number, void* argument, fuse_file_info* info, unsigned flags,
                const void* in, std::size_t in_size, std::size_t out_size)
{
    if ((flags & FUSE_IOCTL_DIR) != 0)
        return request_on_folder(asked);
    operations& server = server_of(asked);
    const auto used = opened_by(server, info);
    event line;
    if (used->lines != nullptr)
        line = server.happened(asked, "ioctl", used->path);
    line.request = number;
    request_question::given what;
    what.number = number;
    what.argument = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(argument));
    what.from_32_bits = (flags & FUSE_IOCTL_32BIT) != 0;
    what.thread = fuse_req_ctx(asked)->pid;
    what.in.assign(static_cast<const char*>(in), in_size);
    what.room = out_size;
    what.record_size = used->file->record_size(number);
    device_request_ptr waiting =
        std::make_unique<request_question>(server, asked, used->lines, std::move(line), std::move(what));
    const auto ruled = server.shown().failures().next(used->path, access::ioctl);
    if (!ruled)
        return used->file->control(std::move(waiting));
    server.admit(asked, ruled, [used, shared = std::make_shared<device_request_ptr>(std::move(waiting))](int error) {
        if (error != 0)
            (*shared)->fail(error);
        else
            used->file->control(std::move(*shared));
    });
}

void poll(fuse_req_t asked, fuse_ino_t, fuse_file_info* info, fuse_pollhandle* handle)
{
    const auto used = opened_by(server_of(asked), info);
    std::function<void()> changed;
    if (handle != nullptr) { // the kernel wants to be told
        used->polled->keep(handle);
        changed = [watch = used->polled] { watch->tell(); };
    }
    fuse_reply_poll(asked, used->file->poll(std::move(changed)));
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
    table.poll = poll;
}

} // namespace kt::terminal
