/** What all operations share: rules, journal lines, and what the kernel may remember. */
#include "terminal/fuse/operations.h"

#include "terminal/model/errno_names.h"
#include "terminal/model/node.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace kt::terminal {

namespace {

void init(void*, fuse_conn_info* connection)
{
    // A mapped picture must keep its pages whatever its times say, and each change of ours is told.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_AUTO_INVAL_DATA);
    if ((connection->capable & FUSE_CAP_EXPLICIT_INVAL_DATA) != 0)
        connection->want |= FUSE_CAP_EXPLICIT_INVAL_DATA;
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
}

} // namespace

operations::operations(board& shown)
    : board_(shown), inodes_(shown.root()), gate_(std::make_unique<gate>(shown.failures()))
{
}

const fuse_lowlevel_ops& operations::table()
{
    static const fuse_lowlevel_ops all = [] {
        fuse_lowlevel_ops made{};
        made.init = init;
        set_name_operations(made);
        set_file_operations(made);
        set_folder_operations(made);
        return made;
    }();
    return all;
}

void operations::serve(fuse_session* session)
{
    notices_ = std::make_shared<notices>(session);
    // Only a folder's name is ever remembered by the kernel. The other side may be telling one when serving stops.
    board_.set_vanished([this, told = notices_](std::uint64_t folder, const std::string& name) {
        told->name_is_gone(folder == board_.root()->ino() ? std::uint64_t{FUSE_ROOT_ID} : folder, name);
    });
}

void operations::stop_serving()
{
    board_.set_vanished(nullptr);
    unanswered_->end(); // no answer is given from here on, and no signal asked for
    gate_.reset();
    handles_.clear(); // what still waits in the board ends; nobody is told that a file has changed
    if (notices_)
        notices_->stop();
}

std::string operations::path_of(fuse_ino_t ino) const
{
    const std::lock_guard lock(board_.tree_mutex());
    const node_ptr found = inodes_.find(ino);
    return found == nullptr ? std::string() : found->path();
}

std::string operations::path_of(fuse_ino_t folder, const char* name) const
{
    const std::lock_guard lock(board_.tree_mutex());
    const node_ptr above = inodes_.find(folder);
    return above == nullptr ? std::string() : above->path() + '/' + name;
}

journal* operations::lines_for(const node& used)
{
    return used.journalled() ? &board_.events() : nullptr;
}

event operations::happened(fuse_req_t asked, const char* kind, std::string path)
{
    const caller who = callers_.known_as(fuse_req_ctx(asked)->pid);
    event line;
    line.kind = kind;
    line.path = std::move(path);
    line.pid = who.pid;
    line.tid = who.tid;
    return line;
}

void operations::write_down(journal* lines, event&& line, int error)
{
    if (lines == nullptr)
        return;
    if (error != 0)
        line.error = errno_name(error);
    lines->append(std::move(line));
}

void operations::at_name(fuse_req_t asked, fuse_ino_t folder, const char* name, access on, event line, named_step work)
{
    const auto ruled = board_.failures().next(line.path, on);
    admit(asked, ruled,
          [this, asked, folder, name = std::string(name), line = std::move(line), work = std::move(work)](int error) {
              journal* lines = nullptr;
              outcome done{error, {}};
              {
                  const std::lock_guard lock(board_.tree_mutex());
                  const node_ptr above = inodes_.find(folder);
                  lines = above == nullptr ? nullptr : lines_for(*above);
                  if (error == 0)
                      done = above == nullptr ? outcome{ESTALE, {}} : work(*above, name);
              }
              write_down(lines, event(line), done.error);
              if (done.error != 0)
                  fuse_reply_err(asked, done.error);
              else
                  done.answer();
          });
}

double operations::kept_for_s(const node& found)
{
    // Folders of the board's own trees change only when the other side says so, and then the kernel is told. What may
    // appear and vanish, and every file, is looked up each time: it is there at once, with its present mode and size.
    const node* above = found.parent();
    const bool lasting = found.is_folder() && (above == nullptr || above->remembered());
    return lasting ? 3600.0 : 0.0;
}

fuse_entry_param operations::entry_of(const node_ptr& found)
{
    fuse_entry_param entry{};
    entry.ino = inodes_.number(*found);
    entry.attr = found->status();
    entry.attr.st_ino = entry.ino;
    entry.entry_timeout = kept_for_s(*found);
    entry.attr_timeout = entry.entry_timeout > 0 ? entry.entry_timeout : 1.0;
    return entry;
}

} // namespace kt::terminal
