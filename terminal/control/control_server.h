/** The control sockets: lines in, lines out, for any number of connections on one thread. */
#pragma once

#include "terminal/control/requests.h"
#include "terminal/descriptor.h"

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kt::terminal {

/** Threads: the owner's; only the stop callback comes from the server's own. */
class control_server {
public:
    control_server(board& served, const profile& actions, terminal_identity identity,
                   std::function<void()> stop_program);
    ~control_server();
    control_server(const control_server&) = delete;
    control_server& operator=(const control_server&) = delete;

    /** Adds a listening stream socket. Before start(). */
    void listen_on(descriptor listening);

    void start();

    /** Closes all connections and ends the thread. */
    void stop();

private:
    struct connection;

    void run();
    void accept_from(int listening);
    void serve(connection& one, short seen);
    void receive(connection& from);
    void work(connection& on);
    void send(connection& to);
    int time_left_ms() const;
    void wake();

    board& board_;
    std::vector<descriptor> listening_;
    std::list<std::unique_ptr<connection>> connections_;
    const std::shared_ptr<descriptor> wake_up_; // counts what parked requests wait for, and the order to stop
    requests requests_;
    std::atomic<bool> waiting_ = false;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace kt::terminal
