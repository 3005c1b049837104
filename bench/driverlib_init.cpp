// kt_driverlib_init against the system calls that it is made of, on a terminal.
#include "bench/on_terminal.h"
#include "bench/side_by_side.h"
#include "kt_driver/base.h"

#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int starts = 100; // each runs three shell commands
constexpr double most = 1.05;

/** Sends what is printed into nothing while it lives: a start prints, and so do the shells it runs. */
class silence {
public:
    silence()
    {
        (void)std::fflush(stdout);
        (void)dup2(nowhere_, STDOUT_FILENO);
    }
    silence(const silence&) = delete;
    silence& operator=(const silence&) = delete;
    ~silence()
    {
        (void)std::fflush(stdout);
        (void)dup2(kept_, STDOUT_FILENO);
        (void)close(kept_);
        (void)close(nowhere_);
    }

private:
    const int kept_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
};

void require(bool done)
{
    if (!done) {
        std::perror("driverlib_init");
        std::abort();
    }
}

void bare_read(const char* path, int flags)
{
    static char page[4096];
    struct stat found;
    require(stat(path, &found) == 0);
    const int fd = open(path, flags);
    require(fd >= 0);
    require(read(fd, page, sizeof page) > 0);
    require(close(fd) == 0);
}

void bare_init()
{
    bare_read("/sys/class/kt_misc/sysinfo/ubootver", O_RDONLY);
    bare_read("/sys/class/kt_misc/sysinfo/kernelver", O_RDONLY);
    bare_read("/sys/class/kt_misc/sysinfo/rootfsver", O_RDONLY);
    bare_read("/sys/class/kt_misc/sysinfo/hardwarever", O_RDONLY);
    bare_read("/sys/class/kt_misc/sysinfo/wifimodule", O_RDONLY);
    bare_read("/sys/class/kt_misc/ioctl/usb_route", O_RDWR);
    require(write(STDOUT_FILENO, "usb route 0\n", 12) == 12);
    require(std::system("echo 5  > /proc/sys/vm/dirty_background_ratio") == 0);
    require(std::system("echo 10 >  /proc/sys/vm/dirty_ratio") == 0);
    require(std::system("echo 0 > /proc/sys/kernel/hung_task_timeout_secs") == 0);
    (void)std::signal(SIGPIPE, SIG_IGN);
    benchmark::DoNotOptimize(std::time(nullptr));
}

void driverlib_init(benchmark::State& state)
{
    kt::bench::require_terminal();
    kt::bench::medians found;
    {
        const silence until_measured;
        found = kt::bench::side_by_side(state, 1, bare_init, [] { require(kt_driverlib_init() == 0); });
    }
    kt::bench::figure("kt_driverlib_init, against its bare calls", found.ratio(), "x", most);
    kt::bench::figure("kt_driverlib_init, median", found.library * 1e3, "ms");
}

BENCHMARK(driverlib_init)->UseManualTime()->Iterations(starts)->Unit(benchmark::kMillisecond);

} // namespace
