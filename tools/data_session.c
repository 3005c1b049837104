/* Brings up a data session over the modem, shows its status while it lasts, and hangs up. */
#include <kt_driver/net.h>
#include <stdio.h>
#include <unistd.h>

static const char* const names[] = {"started", "up", "shutting down", "idle", "ended"};

/* The status now; each change is one line. */
static int show(pppd_task* task)
{
    static int last = -1;
    const int status = pppd_task_poll(task);
    if (status != last && status >= 0)
        printf("Data session: status %d, %s\n", status, names[status]);
    last = status;
    return status;
}

int main(void)
{
    int seconds;
    pppd_task* const task = pppd_task_create("kt_wireless_module", NULL, 0);
    if (task == NULL) {
        perror("data session");
        return 1;
    }
    for (seconds = 0; seconds < 60 && show(task) == PPPD_TASK_STARTED; ++seconds)
        sleep(1);
    const int came_up = show(task) == PPPD_TASK_UP;
    if (came_up) {
        sleep(2); /* here the application would use the network */
        pppd_task_stop(task);
        while (show(task) == PPPD_TASK_DOWN)
            sleep(1);
    }
    pppd_task_exit(task);
    return came_up ? 0 : 1;
}
