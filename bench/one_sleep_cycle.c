/* What sleep_cycle counts the system calls of, between two getppid(2): one sleep cycle that the board's timer ends, or
   with an argument only a shell command as the cycle runs it. */
#include <kt_driver/input.h>
#include <kt_driver/power.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    int event = -1;
    (void)argv;
    kt_key_init();
    kt_set_heartbeat_period(3600);
    fflush(stdout);
    syscall(SYS_getppid);
    if (argc == 1)
        event = kt_auto_sleep_loop();
    else
        event = system("true");
    syscall(SYS_getppid);
    return event < 0;
}
