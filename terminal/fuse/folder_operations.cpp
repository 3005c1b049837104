/** What is asked of folders: listing, and the size of the file system. */
#include "terminal/fuse/operations.h"
#include "terminal/model/node.h"

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace kt::terminal {

namespace {

/** A folder's names as they were when it was opened. */
struct listing : handle {
    std::vector<folder_entry> names;
};

void open_folder(fuse_req_t asked, fuse_ino_t ino, fuse_file_info* info)
{
    operations& server = server_of(asked);
    auto made = std::make_unique<listing>();
    {
        const std::lock_guard lock(server.shown().tree_mutex());
        const node_ptr folder = server.known().find(ino);
        if (folder == nullptr) {
            fuse_reply_err(asked, ESTALE);
            return;
        }
        const std::uint64_t above = folder->parent() == nullptr ? ino : server.known().number(*folder->parent());
        made->names = folder->entries();
        made->names.insert(made->names.begin(), {{".", ino, S_IFDIR}, {"..", above, S_IFDIR}});
    }
    info->fh = server.opens().keep(std::move(made));
    if (fuse_reply_open(asked, info) != 0)
        server.opens().release(info->fh);
}

void read_folder(fuse_req_t asked, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info)
{
    const auto listed = server_of(asked).opens().find<listing>(info->fh);
    const std::vector<folder_entry>& all = listed->names;
    std::string filled(size, '\0');
    std::size_t used = 0;
    for (auto at = static_cast<std::size_t>(offset); at < all.size(); ++at) {
        struct stat status {};
        status.st_ino = all[at].ino;
        status.st_mode = all[at].mode;
        const std::size_t needed = fuse_add_direntry(asked, filled.data() + used, size - used, all[at].name.c_str(),
                                                     &status, static_cast<off_t>(at + 1));
        if (needed > size - used)
            break;
        used += needed;
    }
    fuse_reply_buf(asked, filled.data(), used);
}

void release_folder(fuse_req_t asked, fuse_ino_t, fuse_file_info* info)
{
    server_of(asked).opens().release(info->fh);
    fuse_reply_err(asked, 0);
}

/** A flash of plausible size; nothing the library does asks for more. */
void file_system(fuse_req_t asked, fuse_ino_t)
{
    struct statvfs size {};
    size.f_bsize = size.f_frsize = 4096;
    size.f_blocks = 65536;
    size.f_bfree = size.f_bavail = 32768;
    size.f_files = 65536;
    size.f_ffree = size.f_favail = 32768;
    size.f_namemax = 255;
    fuse_reply_statfs(asked, &size);
}

} // namespace

void set_folder_operations(fuse_lowlevel_ops& table)
{
    table.opendir = open_folder;
    table.readdir = read_folder;
    table.releasedir = release_folder;
    table.statfs = file_system;
}

} // namespace kt::terminal
