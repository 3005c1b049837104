/** Files and folders that are kept in a real folder: /kt and /mnt/data. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/model/node.h"

#include <map>
#include <string>

namespace kt::terminal {

/** One name below a kept folder, of whatever type the file behind it has. */
class stored : public node {
public:
    /** The top of a kept tree: @p folder is open on it. */
    static std::shared_ptr<stored> top(descriptor folder);

    stored(std::shared_ptr<const descriptor> folder, mode_t mode) : node(mode), folder_(std::move(folder)) {}
    ~stored() override;

    struct stat status() const override;
    int change(const status_change& wanted) override;
    result<std::unique_ptr<open_file>> open(int flags) override;
    result<std::string> read_link() const override;

    node_ptr look_up(std::string_view name) override;
    std::vector<folder_entry> entries() override;
    result<node_ptr> make_node(std::string_view name, mode_t mode) override;
    result<node_ptr> make_link(std::string_view name, std::string_view target) override;
    int unlink(std::string_view name) override;
    int remove_folder(std::string_view name) override;
    int rename(std::string_view name, node& to, std::string_view new_name, unsigned flags) override;

    /** What the other side puts, reads and takes away. */
    bool put_file(std::string_view name, std::string_view bytes, mode_t permissions);
    std::optional<std::string> file_bytes() const;
    void remove_all(std::string_view name);

private:
    class opened;

    /** Empty once the node or a folder above it is gone: every call on an empty place fails with ENOENT. */
    std::string place_below_top() const;
    std::string place_of(std::string_view name) const;
    int read_status(struct stat& status) const;
    node_ptr adopt(std::string_view name);
    void forget(std::string_view name);
    int drop(std::string_view name, int flags);

    std::shared_ptr<const descriptor> folder_; // shared by all nodes of one tree
    bool top_ = false;
    descriptor orphan_; // a name that was removed while a program may still have it open
    std::map<std::string, std::shared_ptr<stored>, std::less<>> children_;
};

} // namespace kt::terminal
