/** Session and threads. */
#include "terminal/fuse/server.h"

#include "terminal/fuse/operations.h"
#include "terminal/model/board.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kt::terminal {

namespace {

constexpr int threads = 2; // more are slower on a small desk

void only_wake(int) {}

/** A signal that ends a blocked read of the device, and does nothing else. */
constexpr int wake_signal = SIGURG;

void install_wake_signal()
{
    struct sigaction action {};
    action.sa_handler = only_wake; // without SA_RESTART: the read must end
    sigaction(wake_signal, &action, nullptr);
}

} // namespace

struct fuse_server::parts {
    explicit parts(board& shown) : calls(shown) {}

    operations calls;
    int fd = -1;
    fuse_session* session = nullptr;
    std::atomic<int> running{0};
    std::vector<std::thread> threads;
};

fuse_server::fuse_server(board& shown, int fuse_fd) : parts_(std::make_unique<parts>(shown))
{
    parts_->fd = fuse_fd;
    char name[] = "kt-terminal";
    char* argv[] = {name, nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(1, argv);
    parts_->session = fuse_session_new(&arguments, &operations::table(), sizeof(fuse_lowlevel_ops), &parts_->calls);
    fuse_opt_free_args(&arguments);
    if (parts_->session == nullptr) {
        close(fuse_fd); // while it is open, whoever waits in the board waits on
        throw std::runtime_error("cannot make a FUSE session");
    }
    char device[32];
    std::snprintf(device, sizeof device, "/dev/fd/%d", fuse_fd);
    if (fuse_session_mount(parts_->session, device) != 0) {
        fuse_session_destroy(parts_->session);
        close(fuse_fd);
        throw std::runtime_error("cannot serve the mounted FUSE descriptor");
    }
    parts_->calls.serve(parts_->session);
}

fuse_server::~fuse_server()
{
    stop();
    fuse_session_destroy(parts_->session);
}

void fuse_server::start()
{
    install_wake_signal();
    // The program's signals belong to the main thread: these threads take the wake signal alone.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigdelset(&all, wake_signal);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    parts_->running = threads;
    for (int i = 0; i < threads; ++i) {
        parts_->threads.emplace_back([part = parts_.get()] {
            fuse_buf buffer{};
            while (fuse_session_exited(part->session) == 0) {
                const int got = fuse_session_receive_buf(part->session, &buffer);
                if (got == -EINTR)
                    continue;
                if (got <= 0)
                    break;
                fuse_session_process_buf(part->session, &buffer);
            }
            std::free(buffer.mem);
            --part->running;
        });
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::shared_ptr<node> fuse_server::known(std::uint64_t number) const
{
    return parts_->calls.known().find(number);
}

void fuse_server::stop()
{
    if (parts_->threads.empty())
        return;
    fuse_session_exit(parts_->session);
    // A wake that comes just before the read is lost: so until all have ended.
    while (parts_->running > 0) {
        for (auto& each : parts_->threads)
            pthread_kill(each.native_handle(), wake_signal);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (auto& each : parts_->threads)
        each.join();
    parts_->threads.clear();
    parts_->calls.stop_serving();
}

} // namespace kt::terminal
