// The life of a session: pppd as a child, and its status by the characters in the pipe.
#include "net/pppd_task.h"

#include "base/failure.h"
#include "kt_driver/base.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** What the board's scripts write into the pipe. */
constexpr int link_up = '1';
constexpr int link_down = '2';

/** In the child: what its parent has open is no business of pppd's. */
void close_inherited()
{
    for (int fd = 3; fd <= 2047; ++fd)
        (void)close(fd);
}

/** In the child, which ends here. */
[[noreturn]] void become_pppd(const char* peer)
{
    (void)kt_gsm_cmux_run_check();
    close_inherited();
    (void)std::fflush(stdout);
    (void)execlp("pppd", "pppd", "call", peer, static_cast<char*>(nullptr));
    std::exit(errno);
}

void close_end(int& fd)
{
    if (fd >= 0)
        (void)close(fd);
    fd = -1;
}

} // namespace

pppd_task::pppd_task(const std::string& name, int index) : name_(name), index_(index)
{
    std::strcpy(params_.context_command, "AT+CGDCONT=1,\"IP\",\"CMNET\",\"\",0,0");
    std::strcpy(params_.dial_string, "*99***1#");
}

pppd_task::~pppd_task() = default;

int pppd_task::notify_fifo_open()
{
    fifo_path_ = "/tmp/" + name_;
    (void)unlink(fifo_path_.c_str());
    if (mkfifo(fifo_path_.c_str(), 0777) < 0 && errno != EEXIST)
        return -1;
    fifo_read_fd_ = open(fifo_path_.c_str(), O_RDONLY | O_NONBLOCK | O_CREAT, 0777);
    if (fifo_read_fd_ < 0)
        return -1;
    // A writer of our own: the empty pipe then says EAGAIN, and not end of file, whatever the other writers do.
    fifo_write_fd_ = open(fifo_path_.c_str(), O_WRONLY);
    return fifo_write_fd_ < 0 ? -1 : 0;
}

void pppd_task::notify_fifo_close()
{
    close_end(fifo_read_fd_);
    close_end(fifo_write_fd_);
}

int pppd_task::activate()
{
    if (status_ != PPPD_TASK_IDLE && status_ != PPPD_TASK_ENDED) {
        std::printf("[ERROR] pppd_task activate status %d\n", status_);
        return kt::refuse(EBUSY);
    }
    (void)std::fflush(stdout); // or the child prints these lines a second time
    child_ = fork();
    if (child_ < 0)
        return -1;
    if (child_ == 0)
        become_pppd(name_.c_str());
    status_ = PPPD_TASK_STARTED;
    return 0;
}

void pppd_task::deactivate(int)
{
    mdelay(800);
    (void)system_helper("/kt/ppp/kt-ppp-kill");
    if (child_ > 0)
        (void)kill(child_, SIGTERM);
    status_ = PPPD_TASK_DOWN;
}

int pppd_task::get_latest_notify() const
{
    std::puts("get_latest_notify start");
    int latest = -1;
    signed char character = 0;
    ssize_t got = 0;
    while ((got = read(fifo_read_fd_, &character, 1)) == 1) {
        if (character != '\n' && character != '\r')
            latest = character; // NOLINT(bugprone-signed-char-misuse): 0xFF counts as nothing
    }
    if (got == 0)
        errno = EIO; // no writer is left, not even our own
    const kt::errno_keeper keeper;
    if (errno == EAGAIN) {
        std::puts("get_latest_notify end");
        return latest;
    }
    std::puts("#get_latest_notify return ");
    return -1;
}

int pppd_task::poll_status()
{
    if (status_ == PPPD_TASK_IDLE || status_ == PPPD_TASK_ENDED)
        return status_;

    if (child_ > 0) {
        (void)waitpid(child_, nullptr, WNOHANG);
        if (kill(child_, 0) < 0) {
            if (errno != ESRCH)
                return -1;
            child_ = -1;
        }
    }
    const bool alive = child_ > 0;

    switch (get_latest_notify()) {
    case link_up:
        return status_ = alive ? PPPD_TASK_UP : PPPD_TASK_ENDED;
    case link_down:
        return status_ = alive ? PPPD_TASK_DOWN : PPPD_TASK_IDLE;
    case -1:
        if (errno != EAGAIN)
            return -1;
        if (!alive)
            status_ = PPPD_TASK_IDLE;
        return status_;
    default:
        return kt::refuse(EBADMSG);
    }
}
