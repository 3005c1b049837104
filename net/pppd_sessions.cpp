// The exported functions on a session, and the table that holds the only one.
#include "base/failure.h"
#include "net/pppd_task.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

struct session {
    const char* name;
    pppd_task* task;
    int reserved;
};

session sessions[] = {{"kt_wireless_module", nullptr, 0}};

/** A handle is only ever compared, until it proves to be the open session's. */
bool is_open(const pppd_task* task)
{
    return task != nullptr && task == sessions[0].task;
}

/** Hangs up where there is something to hang up. */
void hang_up(pppd_task& task)
{
    if (task.status() == PPPD_TASK_STARTED || task.status() == PPPD_TASK_UP)
        task.deactivate();
}

/** Prepares a new session and, unless deferred, starts it. */
int bring_up(pppd_task& task, const pppd_task_params* params, bool defer)
{
    if (params != nullptr)
        task.set_params(*params);
    (void)task.auth_script();
    if (task.chat_script() < 0 || task.notify_fifo_open() < 0)
        return -1;
    return defer ? 0 : task.activate();
}

} // namespace

int kt_pppd_init(void)
{
    return 0;
}

int kt_pppd_fini(void)
{
    return 0;
}

pppd_task* pppd_task_create(const char* name, const pppd_task_params* params, int defer)
{
    if (name == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    errno = 0;
    std::puts("#hal pppd_task_create #");
    session& entry = sessions[0];
    if (std::strcmp(name, entry.name) != 0) {
        errno = ENODEV;
        return nullptr;
    }
    if (entry.task != nullptr) {
        errno = EBUSY;
        return nullptr;
    }
    pppd_task* task = nullptr;
    const int result = kt::enomem_on_bad_alloc([&] {
        task = new pppd_task(name, 0);
        return bring_up(*task, params, defer != 0);
    });
    if (result < 0) {
        const kt::errno_keeper keeper;
        delete task;
        return nullptr;
    }
    return entry.task = task;
}

int pppd_task_set_param(pppd_task* task, const pppd_task_params* params)
{
    if (!is_open(task) || params == nullptr)
        return kt::refuse(EINVAL);
    task->set_params(*params);
    (void)task->auth_script();
    return kt::enomem_on_bad_alloc([&] { return task->chat_script(); });
}

int pppd_task_start(pppd_task* task)
{
    if (!is_open(task))
        return kt::refuse(EINVAL);
    std::puts("#hal pppd_task_start #");
    return task->activate();
}

int pppd_task_poll(pppd_task* task)
{
    if (!is_open(task))
        return kt::refuse(EINVAL);
    const int status = task->poll_status();
    const kt::errno_keeper keeper;
    std::puts("#hal pppd_task_poll #");
    return status;
}

int pppd_task_stop(pppd_task* task)
{
    if (!is_open(task))
        return kt::refuse(EINVAL);
    std::puts("#hal pppd_task_stop #");
    hang_up(*task);
    return 0;
}

int pppd_task_kill(pppd_task* task)
{
    if (!is_open(task))
        return kt::refuse(EINVAL);
    std::puts("#hal pppd_task_kill #");
    hang_up(*task);
    return 0;
}

int pppd_task_exit(pppd_task* task)
{
    if (!is_open(task))
        return kt::refuse(EINVAL);
    hang_up(*task);
    for (;;) {
        const int status = task->poll_status();
        if (status == -1 || status == PPPD_TASK_IDLE || status == PPPD_TASK_ENDED)
            break;
        (void)sleep(2);
    }
    task->notify_fifo_close();
    sessions[task->index()].task = nullptr;
    delete task;
    std::puts("#hal pppd_task_exit #");
    return 0;
}
