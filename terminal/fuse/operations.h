/** What the kernel can ask of the board's file system. */
#pragma once

#include "terminal/fuse/callers.h"
#include "terminal/fuse/gate.h"
#include "terminal/fuse/handles.h"
#include "terminal/fuse/inodes.h"
#include "terminal/fuse/notices.h"
#include "terminal/fuse/poll_watch.h"
#include "terminal/fuse/question.h"
#include "terminal/fuse/unanswered.h"
#include "terminal/model/board.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kt::terminal {

/** One open of a program: the node's own part, and where it was found. */
struct opened_node : handle {
    ~opened_node() override { polled->stop(); }

    node_ptr opened;
    const std::shared_ptr<poll_watch> polled = std::make_shared<poll_watch>(); // outlives a change that is just told
    std::unique_ptr<open_file> file;
    std::string path;
    journal* lines = nullptr; /**< Null: not journalled. */
};

/** Threads: any; libfuse calls the table's functions from the server's threads. */
class operations {
public:
    explicit operations(board& shown);

    static const fuse_lowlevel_ops& table();

    /** The session whose kernel is told of names that vanish. */
    void serve(fuse_session* session);
    void stop_serving();

    board& shown() { return board_; }
    inodes& known() { return inodes_; }
    gate& waits() { return *gate_; }
    handles& opens() { return handles_; }
    const std::shared_ptr<unanswered>& waiting() { return unanswered_; }

    /** The path of a node, or of a name in a folder; empty when the kernel's node is gone. Takes the tree's lock. */
    std::string path_of(fuse_ino_t ino) const;
    std::string path_of(fuse_ino_t folder, const char* name) const;

    /** The journal when a node's use belongs there, else null. */
    journal* lines_for(const node& used);
    event happened(fuse_req_t asked, const char* kind, std::string path);
    void write_down(journal* lines, event&& line, int error);

    /** Goes on at once where no rule says otherwise, else when the rule lets it. */
    template <typename Step>
    void admit(fuse_req_t asked, const std::optional<verdict>& ruled, Step go)
    {
        if (!ruled)
            return go(0);
        if (!ruled->hang && ruled->delay.count() == 0)
            return go(ruled->error);
        gate_->hold(asked, *ruled, std::move(go));
    }

    /** What became of work on a name: an errno, or how to answer. */
    struct outcome {
        int error = 0;
        std::function<void()> answer = {};
    };

    /** A name in a folder: checks the rules for it, then makes or removes something there. */
    using named_step = std::function<outcome(node& folder, const std::string& name)>;
    void at_name(fuse_req_t asked, fuse_ino_t folder, const char* name, access on, event line, named_step work);

    void reply_entry(fuse_req_t asked, const node_ptr& found);
    static double kept_for_s(const node& found);
    fuse_entry_param entry_of(const node_ptr& found);

private:
    board& board_;
    inodes inodes_;
    callers callers_;
    const std::shared_ptr<unanswered> unanswered_ = std::make_shared<unanswered>(); // a question may outlive the server
    std::unique_ptr<gate> gate_;
    handles handles_;
    std::shared_ptr<notices> notices_;
};

/** The functions of the table, by what they work on. */
void set_name_operations(fuse_lowlevel_ops& table);
void set_file_operations(fuse_lowlevel_ops& table);
void set_folder_operations(fuse_lowlevel_ops& table);

/** The server behind a question. */
inline operations& server_of(fuse_req_t asked)
{
    return *static_cast<operations*>(fuse_req_userdata(asked));
}

} // namespace kt::terminal
