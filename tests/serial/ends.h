/** Two ends to read and write at, each with an owner. */
#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace kt::tests {

/** Two descriptors, closed in the end. */
class ends {
public:
    ends(const ends&) = delete;
    ends& operator=(const ends&) = delete;
    ~ends()
    {
        close_near();
        close_far();
    }

    void close_near() { close_one(near); }
    void close_far() { close_one(far); }

    int near = -1; /**< What the library gets. */
    int far = -1;

protected:
    ends() = default;

private:
    static void close_one(int& fd)
    {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
};

/** A pipe that the library reads from. */
struct pipe_to_read : ends {
    pipe_to_read()
    {
        int both[2];
        if (pipe(both) < 0)
            throw std::runtime_error("pipe");
        near = both[0];
        far = both[1];
    }
};

/** A pipe that the library writes to. */
struct pipe_to_write : ends {
    pipe_to_write()
    {
        int both[2];
        if (pipe(both) < 0)
            throw std::runtime_error("pipe");
        near = both[1];
        far = both[0];
    }

    /** Writes until there is no room; how much there was. */
    std::size_t fill()
    {
        const int flags = fcntl(near, F_GETFL);
        fcntl(near, F_SETFL, flags | O_NONBLOCK);
        const std::string page(4096, 'x');
        std::size_t all = 0;
        for (const std::size_t piece : {page.size(), std::size_t{1}}) { // part of a page may be left
            while (write(near, page.data(), piece) > 0)
                all += piece;
        }
        fcntl(near, F_SETFL, flags);
        return all;
    }
};

struct socket_pair : ends {
    socket_pair()
    {
        int both[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, both) < 0)
            throw std::runtime_error("socketpair");
        near = both[0];
        far = both[1];
    }
};

} // namespace kt::tests
