/* Prints the monotonic clock in seconds as soon as it runs: a program whose start terminal_start measures. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <time.h>

int main(void)
{
    struct timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) < 0)
        return 1;
    return printf("%lld.%09ld\n", (long long)now.tv_sec, now.tv_nsec) < 0;
}
