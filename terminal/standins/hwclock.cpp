/** The stand-in for hwclock: carries the time between the working clock and the hardware clock. */
#include "terminal/rtc_record.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <getopt.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace {

enum class job { show, set_hardware, set_system };

struct order {
    job what = job::show;
    const char* device = "/dev/rtc0";
};

int fail(const char* what, const char* device)
{
    fprintf(stderr, "hwclock: can't %s '%s': %s\n", what, device, strerror(errno));
    return 1;
}

/** False: an option that is not known; getopt has said so. */
bool read_order(int argc, char** argv, order& read)
{
    static const option names[] = {{"show", no_argument, nullptr, 'r'},      {"systohc", no_argument, nullptr, 'w'},
                                   {"hctosys", no_argument, nullptr, 's'},   {"utc", no_argument, nullptr, 'u'},
                                   {"rtc", required_argument, nullptr, 'f'}, {}};
    for (int each = 0; (each = getopt_long(argc, argv, "rwsuf:", names, nullptr)) != -1;) {
        switch (each) {
        case 'r':
            read.what = job::show;
            break;
        case 'w':
            read.what = job::set_hardware;
            break;
        case 's':
            read.what = job::set_system;
            break;
        case 'u':
            break; // it is always so
        case 'f':
            read.device = optarg;
            break;
        default:
            return false;
        }
    }
    return true;
}

int set_hardware(int clock, const char* device)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    const rtc_time record = kt::terminal::rtc_record_of(parts);
    return ioctl(clock, RTC_SET_TIME, &record) == 0 ? 0 : fail("set", device);
}

/** False: it could not be read; said so. */
bool read_hardware(int clock, const char* device, time_t& time)
{
    rtc_time record{};
    if (ioctl(clock, RTC_RD_TIME, &record) != 0) {
        fail("read", device);
        return false;
    }
    tm parts = kt::terminal::parts_of(record);
    time = timegm(&parts);
    return true;
}

int set_system(int clock, const char* device)
{
    timeval wanted{};
    if (!read_hardware(clock, device, wanted.tv_sec))
        return 1;
    if (settimeofday(&wanted, nullptr) == 0)
        return 0;
    fprintf(stderr, "hwclock: settimeofday: %s\n", strerror(errno));
    return 1;
}

int show(int clock, const char* device)
{
    time_t time = 0;
    if (!read_hardware(clock, device, time))
        return 1;
    tm parts{};
    localtime_r(&time, &parts);
    char text[64];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S%z", &parts);
    puts(text);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    order given;
    if (!read_order(argc, argv, given))
        return 1;
    const int clock = open(given.device, O_RDONLY | O_CLOEXEC);
    if (clock < 0)
        return fail("open", given.device);
    switch (given.what) {
    case job::set_hardware:
        return set_hardware(clock, given.device);
    case job::set_system:
        return set_system(clock, given.device);
    case job::show:
        break;
    }
    return show(clock, given.device);
}
