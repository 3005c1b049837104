/** The file system that shows the board: a session on an already mounted FUSE descriptor, and its threads. */
#pragma once

#include <cstdint>
#include <memory>

namespace kt::terminal {

class board;
class node;

class fuse_server {
public:
    /** Owns @p fuse_fd from now on. The board must outlive the server. Throws std::runtime_error. */
    fuse_server(board& shown, int fuse_fd);
    ~fuse_server();
    fuse_server(const fuse_server&) = delete;
    fuse_server& operator=(const fuse_server&) = delete;

    /** Begins to answer, on threads of its own. */
    void start();

    /** The node that the kernel knows by a number, which is its files' st_ino; null when there is none. */
    std::shared_ptr<node> known(std::uint64_t number) const;

    /** Ends the threads; waiting calls fail. */
    void stop();

private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

} // namespace kt::terminal
