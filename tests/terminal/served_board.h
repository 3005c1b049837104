/** A board with its control server, as a terminal has them, but without a program. */
#pragma once

#include "equipped_board.h"
#include "terminal/control/control_server.h"
#include "terminal/control/socket_folder.h"
#include "terminal/sleep/suspend.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

/** A folder of the test's own under /tmp; sockets have short paths. */
class own_folder {
public:
    own_folder()
    {
        char made[] = "/tmp/kt-control-XXXXXX";
        path_ = mkdtemp(made);
    }
    ~own_folder() { std::filesystem::remove_all(path_); }
    own_folder(const own_folder&) = delete;
    own_folder& operator=(const own_folder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class served_board {
public:
    explicit served_board(const std::string& socket_path, const std::string& name = "test")
        : profile(kt::terminal::profile::load("500", KT_BOARDS)),
          socket(socket_path),
          server(board, profile, {name, "1.2.3"}, [this] { stopped = true; })
    {
        profile.apply(board);
        sleep = kt::terminal::know_suspend(board);
        server.listen_on(socket.take());
        server.start();
    }

    equipped_board board;
    std::shared_ptr<kt::terminal::suspend> sleep; // given to the board when its attributes are there
    kt::terminal::profile profile;
    std::atomic<bool> stopped = false;

private:
    kt::terminal::host_socket socket;

public:
    kt::terminal::control_server server;
};
