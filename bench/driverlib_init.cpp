// kt_driverlib_init against the system calls that it is made of, on a terminal.
#include "bench/bare_calls.h"
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/base.h"

#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

using kt::bench::bare_battery;
using kt::bench::bare_read;
using kt::bench::require;

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

void bare_name(const char* path)
{
    static char name[255];
    const int fd = open(path, O_RDONLY);
    require(fd >= 0);
    require(read(fd, name, sizeof name) > 0);
    require(close(fd) == 0);
}

void bare_node(const char* path, bool non_blocking)
{
    const int fd = open(path, O_RDONLY);
    require(fd >= 0);
    if (non_blocking)
        require(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) == 0);
    require(close(fd) == 0); // of the start before
}

void bare_panel()
{
    bare_name("/sys/class/input/event0/device/name");
    bare_name("/sys/class/input/event1/device/name");
    bare_name("/sys/class/input/event2/device/name");
    bare_read("/sys/class/input/event2/device/id/bustype");
    bare_node("/dev/input/event2", true);
}

void bare_keys()
{
    bare_name("/sys/class/input/event0/device/name");
    bare_node("/dev/input/event0", false);
    bare_node("/dev/input/event0", true);
    bare_name("/sys/class/input/event0/device/name");
    bare_name("/sys/class/input/event1/device/name");
    bare_node("/dev/input/event1", true);
    bare_node("/dev/input/event1", true);
}

void bare_battery_folder()
{
    DIR* const folder = opendir("/sys/class/power_supply/kt_bat/");
    require(folder != nullptr);
    require(closedir(folder) == 0);
}

void bare_init()
{
    bare_read("/sys/class/kt_misc/sysinfo/ubootver");
    bare_read("/sys/class/kt_misc/sysinfo/kernelver");
    bare_read("/sys/class/kt_misc/sysinfo/rootfsver");
    bare_read("/sys/class/kt_misc/sysinfo/hardwarever");
    bare_read("/sys/class/kt_misc/sysinfo/wifimodule");
    bare_read("/sys/class/kt_misc/ioctl/usb_route", O_RDWR);
    require(write(STDOUT_FILENO, "usb route 0\n", 12) == 12);
    require(std::system("echo 5  > /proc/sys/vm/dirty_background_ratio") == 0);
    require(std::system("echo 10 >  /proc/sys/vm/dirty_ratio") == 0);
    require(std::system("echo 0 > /proc/sys/kernel/hung_task_timeout_secs") == 0);
    bare_panel();
    bare_battery_folder();
    (void)std::signal(SIGPIPE, SIG_IGN);
    bare_keys();
    bare_battery();
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
    kt::bench::figure("kt_driverlib_init, against its bare calls", found.ratio(), "x", most); // it starts shells
    kt::bench::figure("kt_driverlib_init, median", found.library * 1e3, "ms");
}

BENCHMARK(driverlib_init)->UseManualTime()->Iterations(starts)->Unit(benchmark::kMillisecond);

} // namespace
