/** One place of the board's tree, and what a program can do with it. */
#pragma once

#include "terminal/model/faults.h"
#include "terminal/model/request.h"
#include "terminal/model/result.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <time.h>
#include <vector>

namespace kt::terminal {

class node;
using node_ptr = std::shared_ptr<node>;

/** One open of a node, by one program. */
class open_file {
public:
    virtual ~open_file() = default;
    open_file() = default;
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;

    /** True: the kernel keeps pages of it, so that it can be mapped; else each call reaches the board. */
    virtual bool cached() const { return false; }

    /** True: a device without a file position, whose reads and writes may wait side by side. */
    virtual bool stream() const { return false; }

    virtual void read(request_ptr asked, std::size_t size, off_t offset) = 0;
    virtual void write(request_ptr asked, std::string_view data, off_t offset) = 0;
    /** A rule that holds back the next read, found by the file itself (a stand-in learns by it when to go on). */
    virtual std::optional<verdict> held() const { return std::nullopt; }
    virtual void control(device_request_ptr asked) { asked->fail(ENOTTY); }
    /** Bytes of the request's record where its number tells fewer: they are taken from the caller before all else, so
     * that the journal has them whatever becomes of the request. */
    virtual std::size_t record_size(std::uint32_t /*number*/) const { return 0; }

    /**
     * What poll(2) finds now (POLLIN, POLLOUT …). @p changed, unless empty, replaces the one given before; it is called
     * once, without locks, when the answer may have become another.
     */
    virtual unsigned poll(std::function<void()> /*changed*/) // NOLINT(performance-unnecessary-value-param)
    {
        return POLLIN | POLLRDNORM | POLLOUT | POLLWRNORM;
    }

    virtual int sync() { return 0; }
    virtual int allocate(int /*mode*/, off_t /*offset*/, off_t /*length*/) { return EOPNOTSUPP; }
};

/** What a program wants to change of a node's status; absent fields stay. */
struct status_change {
    std::optional<mode_t> permissions;
    std::optional<off_t> size;
    std::optional<timespec> accessed;
    std::optional<timespec> modified;
};

struct folder_entry {
    std::string name;
    std::uint64_t ino;
    mode_t mode;
};

/**
 * The tree's lock (board::tree_mutex) is held around every call but those on an open_file. Functions that return an int
 * return an errno, 0 for success. What a kind of node cannot do fails as on a kernel file system without it.
 */
class node : public std::enable_shared_from_this<node> {
public:
    explicit node(mode_t type_and_permissions);
    virtual ~node() = default;
    node(const node&) = delete;
    node& operator=(const node&) = delete;

    std::uint64_t ino() const { return ino_; }
    mode_t mode() const { return mode_; }
    bool is_folder() const { return S_ISDIR(mode_); }

    const std::string& name() const { return name_; }
    node* parent() const { return parent_; }
    std::string path() const;
    void place(node* parent, std::string name);

    /** False for the terminal's own places, whose use is nobody's business. */
    virtual bool journalled() const { return parent_ == nullptr || parent_->journalled(); }

    /** True while a change can only come through this program's kernel, so that names in it may be remembered. */
    virtual bool remembered() const { return false; }

    /** For a device: the received bytes that wait to be read, which FIONREAD tells; negative: EIO, it was hung up. */
    virtual std::optional<int> waiting_bytes() const { return std::nullopt; }

    /** True: only another device takes its place; it must be unplugged first. */
    virtual bool is_device() const { return waiting_bytes().has_value(); }

    /** The other side took it off the board while programs may have it open. Called without the tree's lock. */
    virtual void unplugged() {}

    virtual struct stat status() const;
    virtual int change(const status_change& wanted);
    virtual result<std::unique_ptr<open_file>> open(int flags);
    virtual result<std::string> read_link() const { return result<std::string>::failed(EINVAL); }

    virtual node_ptr look_up(std::string_view) { return nullptr; }
    virtual std::vector<folder_entry> entries() { return {}; }
    virtual result<node_ptr> make_node(std::string_view, mode_t) { return result<node_ptr>::failed(EACCES); }
    virtual result<node_ptr> make_link(std::string_view, std::string_view) { return result<node_ptr>::failed(EPERM); }
    virtual int unlink(std::string_view) { return EPERM; }
    virtual int remove_folder(std::string_view) { return EPERM; }
    virtual int rename(std::string_view, node&, std::string_view, unsigned) { return EPERM; }

protected:
    void set_permissions(mode_t permissions) { mode_ = (mode_ & S_IFMT) | (permissions & 07777); }

private:
    const std::uint64_t ino_;
    mode_t mode_;
    node* parent_ = nullptr;
    std::string name_;
};

/** A folder in memory. */
class directory : public node {
public:
    /** What programs may do in it: nothing (attributes' folders), or all that a memory file system allows (/dev). */
    enum class growth { fixed, free };

    explicit directory(growth allowed, mode_t permissions = 0755) : node(S_IFDIR | permissions), growth_(allowed) {}
    ~directory() override;

    growth allowed() const { return growth_; }
    void be_quiet() { quiet_ = true; }
    bool journalled() const override { return !quiet_ && node::journalled(); }
    bool remembered() const override { return growth_ == growth::fixed; }

    /** Puts a node in, over what has its name. */
    void put(std::string name, node_ptr child);
    bool take(std::string_view name);

    node_ptr look_up(std::string_view name) override;
    std::vector<folder_entry> entries() override;
    result<node_ptr> make_node(std::string_view name, mode_t mode) override;
    result<node_ptr> make_link(std::string_view name, std::string_view target) override;
    int unlink(std::string_view name) override;
    int remove_folder(std::string_view name) override;
    int rename(std::string_view name, node& to, std::string_view new_name, unsigned flags) override;

private:
    const growth growth_;
    bool quiet_ = false;
    std::map<std::string, node_ptr, std::less<>> children_;
};

/** A symbolic link in memory. */
class link_node : public node {
public:
    explicit link_node(std::string target) : node(S_IFLNK | 0777), target_(std::move(target)) {}
    struct stat status() const override;
    result<std::string> read_link() const override { return target_; }

private:
    std::string target_;
};

/** A named pipe or socket in memory: the kernel does all but keep its name. */
class special_node : public node {
public:
    using node::node;
};

} // namespace kt::terminal
