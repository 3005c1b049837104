/** The stand-in for hwclock: carries the time between the working clock and the hardware clock. */
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
    rtc_time record{};
    record.tm_sec = parts.tm_sec;
    record.tm_min = parts.tm_min;
    record.tm_hour = parts.tm_hour;
    record.tm_mday = parts.tm_mday;
    record.tm_mon = parts.tm_mon;
    record.tm_year = parts.tm_year;
    record.tm_wday = parts.tm_wday;
    record.tm_yday = parts.tm_yday;
    return ioctl(clock, RTC_SET_TIME, &record) == 0 ? 0 : fail("set", device);
}

int use_hardware(int clock, const order& given)
{
    rtc_time record{};
    if (ioctl(clock, RTC_RD_TIME, &record) != 0)
        return fail("read", given.device);
    tm parts{};
    parts.tm_sec = record.tm_sec;
    parts.tm_min = record.tm_min;
    parts.tm_hour = record.tm_hour;
    parts.tm_mday = record.tm_mday;
    parts.tm_mon = record.tm_mon;
    parts.tm_year = record.tm_year;
    const time_t time = timegm(&parts);
    if (given.what == job::set_system) {
        const timeval wanted{time, 0};
        if (settimeofday(&wanted, nullptr) == 0)
            return 0;
        fprintf(stderr, "hwclock: settimeofday: %s\n", strerror(errno));
        return 1;
    }
    char text[64];
    localtime_r(&time, &parts);
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
    return given.what == job::set_hardware ? set_hardware(clock, given.device) : use_hardware(clock, given);
}
