// One data session: its files, its pppd, and what is known of its link.
#pragma once

#include "kt_driver/net.h"

#include <string>
#include <sys/types.h>

static_assert(sizeof(pppd_task_params) == 512); // callers' blocks are copied whole

/** The object behind the exported handle. A status is one of PPPD_TASK_…. Functions fail with -1 and errno. */
struct pppd_task {
public:
    /** Touches no file. */
    pppd_task(const std::string& name, int index);
    pppd_task(const pppd_task&) = delete;
    pppd_task& operator=(const pppd_task&) = delete;

    /** Leaves pppd, pipe and files as they are: the owner sees to them first. */
    virtual ~pppd_task();

    /** Writes the secrets and options anew; without user or password they stay away. 0 always. */
    virtual int auth_script();

    /** Writes the chat script. */
    virtual int chat_script();

    /** Makes the notification pipe and opens both its ends. */
    int notify_fifo_open();
    void notify_fifo_close();

    /** Starts pppd. EBUSY unless the status is idle or ended. */
    int activate();

    /** Asks pppd to end, and returns at once. */
    void deactivate(int unused = 0);

    /** Empties the pipe: the last character in it; -1 with EAGAIN when there was none, with another cause on failure.
     */
    int get_latest_notify() const;

    /** Updates the status, and returns it. */
    int poll_status();

    int status() const { return status_; }
    int index() const { return index_; }
    void set_params(const pppd_task_params& params) { params_ = params; }

private:
    std::string name_;
    std::string reserved_[2];
    std::string fifo_path_;
    int fifo_read_fd_ = -1;
    int fifo_write_fd_ = -1;
    pid_t child_ = -1;
    int status_ = PPPD_TASK_IDLE;
    int index_;
    pppd_task_params params_{};
};
