/** The terminal's clock: setting it, reading it by every way, the hardware clock, and what none of this touches. */
#include "tests/terminal/clock_calls.h"

#include "terminal/client/virtual_terminal.h"
#include "tests/terminal/file_calls.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <linux/rtc.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

using kt::terminal::event;
using kt::terminal::virtual_terminal;
using kt::tests::error_of;
using namespace kt::tests;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::int64_t future = 1'900'000'000; // 2030-03-17 17:46:40 UTC
constexpr std::int64_t patience = 100;         // seconds that a slow machine may take between setting and reading

#define EXPECT_TIME(value, from)                                                                                       \
    EXPECT_THAT(value, testing::AllOf(testing::Ge(std::int64_t{from}), testing::Lt(std::int64_t{from} + patience)))

std::int64_t monotonic_ms()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/** The desk's time: what its kernel gives a new file in memory. */
std::int64_t desk_time()
{
    const opened_file file("/tmp/now", O_RDWR | O_CREAT | O_TRUNC);
    struct stat entry {};
    return write(file.fd(), "x", 1) == 1 && fstat(file.fd(), &entry) == 0 ? entry.st_mtime : -1;
}

std::string output_of(const std::string& command)
{
    std::FILE* pipe = popen(command.c_str(), "r");
    char text[256] = {};
    const std::size_t length = std::fread(text, 1, sizeof text - 1, pipe);
    return std::string(text, length) + (pclose(pipe) == 0 ? "" : "failed");
}

/** Runs something in a child; its exit status. */
template <typename Work>
int in_child(Work work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int wrong_readings(std::int64_t from)
{
    int wrong = 0;
    for (const way_to_read& way : ways_to_read)
        wrong += way.read() >= from && way.read() < from + patience ? 0 : 1;
    return wrong;
}

rtc_time record(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    rtc_time made{};
    made.tm_year = year - 1900;
    made.tm_mon = month - 1;
    made.tm_mday = day;
    made.tm_hour = hour;
    made.tm_min = minute;
    made.tm_sec = second;
    return made;
}

std::int64_t seconds_of(const rtc_time& record)
{
    tm parts{};
    parts.tm_year = record.tm_year;
    parts.tm_mon = record.tm_mon;
    parts.tm_mday = record.tm_mday;
    parts.tm_hour = record.tm_hour;
    parts.tm_min = record.tm_min;
    parts.tm_sec = record.tm_sec;
    return timegm(&parts);
}

std::int64_t hardware_time()
{
    const opened_file clock("/dev/rtc0", O_RDONLY);
    rtc_time now{};
    return ioctl(clock.fd(), RTC_RD_TIME, &now) == 0 ? seconds_of(now) : -1;
}

} // namespace

TEST(Clock, TellsTheDesksTimeUntilItIsSet)
{
    const std::int64_t now = desk_time();
    for (const way_to_read& way : ways_to_read)
        EXPECT_TIME(way.read(), now) << way.name;
    EXPECT_THAT(virtual_terminal().clock(), HasSubstr(R"("offset_ms":0,)"));
}

TEST(Clock, IsSetByEachCallAndReadByEach)
{
    const std::int64_t before = desk_time();
    std::int64_t wanted = future;
    for (const way_to_set& set : ways_to_set) {
        ASSERT_EQ(error_of(set.set(wanted)), 0) << set.name;
        for (const way_to_read& read : ways_to_read)
            EXPECT_TIME(read.read(), wanted) << set.name << ", " << read.name;
        wanted -= 100'000'000;
    }
    EXPECT_TIME(desk_time(), before);
}

TEST(Clock, KeepsItsFractionAndGoesOn)
{
    const timespec wanted{future, 750'000'000};
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &wanted), 0);
    timespec now{};
    ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
    EXPECT_TRUE(now.tv_sec > future || now.tv_nsec >= 750'000'000);
    timespec later{};
    const auto moved = [&] {
        clock_gettime(CLOCK_REALTIME, &later);
        return (later.tv_sec - now.tv_sec) * 1000 + (later.tv_nsec - now.tv_nsec) / 1'000'000;
    };
    const std::int64_t start = monotonic_ms();
    while (moved() < 50) {
    }
    EXPECT_GE(monotonic_ms() - start, 48);
}

TEST(Clock, EachSettingIsTold)
{
    virtual_terminal board;
    const timespec wanted{future, 5};
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &wanted), 0);
    const timeval with_millionths{1'234'567'890, 12};
    ASSERT_EQ(settimeofday(&with_millionths, nullptr), 0);
    const struct timezone zone {
        - 60, 0
    };
    ASSERT_EQ(settimeofday(nullptr, &zone), 0);
    EXPECT_EQ(error_of(syscall(SYS_settimeofday, nullptr, nullptr)), 0);
    (void)std::time(nullptr);
    const std::vector<event> told = board.events_of({"clock"});
    ASSERT_EQ(told.size(), 4U);
    EXPECT_EQ(told[0].data, "1900000000.000000005");
    EXPECT_EQ(told[0].pid, getpid());
    EXPECT_EQ(told[0].error, "");
    EXPECT_EQ(told[1].data, "1234567890.000012000");
    EXPECT_EQ(told[2].data, "");
    EXPECT_EQ(told[2].error, "");
}

TEST(Clock, RefusesWhatTheKernelRefuses)
{
    const std::int64_t before = desk_time();
    timeval time{future, 1'000'000};
    EXPECT_EQ(error_of(settimeofday(&time, nullptr)), EINVAL);
    time.tv_usec = -1;
    EXPECT_EQ(error_of(settimeofday(&time, nullptr)), EINVAL);
    time = {-1, 0};
    EXPECT_EQ(error_of(settimeofday(&time, nullptr)), EINVAL);
    timespec precise{future, 1'000'000'000};
    EXPECT_EQ(error_of(clock_settime(CLOCK_REALTIME, &precise)), EINVAL);
    precise = {-1, 0};
    EXPECT_EQ(error_of(clock_settime(CLOCK_REALTIME, &precise)), EINVAL);
    precise = {0, 0}; // before the machine started
    EXPECT_EQ(error_of(clock_settime(CLOCK_REALTIME, &precise)), EINVAL);
    precise = {future, 0};
    EXPECT_EQ(error_of(clock_settime(CLOCK_MONOTONIC, &precise)), EINVAL);
    const struct timezone zone {
        15 * 60 + 1, 0
    };
    EXPECT_EQ(error_of(settimeofday(nullptr, &zone)), EINVAL);

    EXPECT_EQ(error_of(syscall(SYS_clock_settime, CLOCK_REALTIME, nullptr)), EFAULT);
    EXPECT_EQ(error_of(syscall(SYS_settimeofday, 1, nullptr)), EFAULT);
    EXPECT_EQ(error_of(syscall(SYS_settimeofday, nullptr, 1)), EFAULT);
    EXPECT_TIME(std::time(nullptr), before);
    EXPECT_THAT(virtual_terminal().events_of({"clock"}), testing::Each(testing::Field(&event::error, testing::Ne(""))));
}

TEST(Clock, ABadAddressIsRefusedToWhoReads)
{
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    void* const read_only = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_EQ(error_of(syscall(SYS_clock_gettime, CLOCK_REALTIME, read_only)), EFAULT);
    EXPECT_EQ(error_of(syscall(SYS_gettimeofday, read_only, nullptr)), EFAULT);
#ifdef SYS_time
    EXPECT_EQ(error_of(syscall(SYS_time, read_only)), EFAULT);
#endif
    EXPECT_EQ(error_of(syscall(SYS_gettimeofday, nullptr, nullptr)), 0);
}

TEST(Clock, ARuleMakesSettingFail)
{
    virtual_terminal board;
    board.fail("clock", {.on = "write", .error = EPERM, .times = 1});
    EXPECT_EQ(error_of(ways_to_set[0].set(future)), EPERM);
    EXPECT_EQ(error_of(ways_to_set[0].set(future)), 0);
    const std::vector<event> told = board.events_of({"clock"});
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].error, "EPERM");
    EXPECT_EQ(told[1].error, "");
}

TEST(Clock, ARuleKeepsTheTimeZoneAsItWas)
{
    ASSERT_EQ(ways_to_set[0].set(future), 0); // until then the desk's kernel tells its own
    const auto minutes_west = [] {
        timeval now{};
        struct timezone told {
            12345, 0
        };
        return syscall(SYS_gettimeofday, &now, &told) == 0 ? told.tz_minuteswest : 12345;
    };
    const struct timezone wanted {
        - 60, 0
    };
    virtual_terminal board;
    board.fail("clock", {.on = "write", .error = EPERM, .times = 1});
    EXPECT_EQ(error_of(settimeofday(nullptr, &wanted)), EPERM);
    EXPECT_EQ(minutes_west(), 0);
    EXPECT_EQ(error_of(settimeofday(nullptr, &wanted)), 0);
    EXPECT_EQ(minutes_west(), -60);
}

TEST(Clock, OtherClocksGoOnUnmoved)
{
    const std::int64_t start = monotonic_ms();
    timespec started{};
    ASSERT_EQ(clock_gettime(CLOCK_BOOTTIME, &started), 0);
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    EXPECT_LT(monotonic_ms() - start, patience * 1000);
    EXPECT_GE(monotonic_ms(), start);
    timespec now{};
    ASSERT_EQ(clock_gettime(CLOCK_BOOTTIME, &now), 0);
    EXPECT_LT(now.tv_sec - started.tv_sec, patience);
    ASSERT_EQ(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now), 0);
    EXPECT_LT(now.tv_sec, patience);
    EXPECT_EQ(clock_getres(CLOCK_REALTIME, &now), 0);
}

TEST(Clock, ThreadsReadIt)
{
    std::atomic<bool> set = false;
    std::atomic<bool> over = false;
    std::atomic<int> wrong = 0;
    std::atomic<int> ready = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&] {
            ++ready;
            while (!over) {
                const bool was_set = set;
                for (const way_to_read& way : ways_to_read)
                    if (was_set && way.read() < future)
                        ++wrong;
            }
        });
    while (ready < 4)
        std::this_thread::yield();
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    set = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    over = true;
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Clock, ProcessesThatRunAlreadyReadIt)
{
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    std::vector<pid_t> children;
    for (int number = 0; number < 3; ++number) {
        children.push_back(fork());
        if (children.back() == 0) {
            char now = 0;
            // Some wait, some are in the middle of reading.
            while (number == 0 && ways_to_read[0].read() < future) {
            }
            if (read(go[0], &now, 1) != 1)
                _exit(100);
            _exit(wrong_readings(future) + in_child([] { return wrong_readings(future); }));
        }
    }
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    ASSERT_EQ(write(go[1], "xxx", 3), 3);
    for (const pid_t each : children) {
        int status = -1;
        waitpid(each, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(in_child([] { return wrong_readings(future); }), 0) << "one that is made later";
}

TEST(Clock, ProgramsThatStartLaterReadIt)
{
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    EXPECT_TIME(std::atoll(output_of("date +%s").c_str()), future);
    EXPECT_TIME(std::atoll(output_of("exec bash -c 'printf \"%(%s)T\" -1'").c_str()), future);
    EXPECT_THAT(output_of(KT_CLOCK_READER " 1900000000"), HasSubstr("all right"));
}

TEST(Clock, AStaticProgramReadsIt)
{
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    EXPECT_THAT(output_of(KT_STATIC_CLOCK_READER " 1900000000"), HasSubstr("all right"));
}

TEST(Clock, AProgramStartedByAnotherSetsIt)
{
    EXPECT_EQ(output_of("date -s @1900000000 > /dev/null"), "");
    EXPECT_TIME(std::time(nullptr), future);
}

TEST(Clock, TheOtherSideSetsAndAdvancesIt)
{
    virtual_terminal board;
    EXPECT_THAT(board.clock(R"({"set":1900000000.5})"), HasSubstr(R"("time":19000000)"));
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_TRUE(now.tv_sec > future || now.tv_nsec >= 500'000'000);
    EXPECT_TIME(now.tv_sec, future);
    (void)board.clock(R"({"advance_ms":3600000})");
    EXPECT_TIME(std::time(nullptr), future + 3600);
    EXPECT_TRUE(board.events_of({"clock"}).empty()) << "what the other side does is not told";
    EXPECT_THROW((void)board.clock(R"({"set":-1})"), kt::terminal::terminal_error);
    EXPECT_THROW((void)board.clock(R"({"set":"1900000000"})"), kt::terminal::terminal_error);
    EXPECT_TIME(std::time(nullptr), future + 3600);
}

TEST(Clock, ASleepThatWasSkippedHasGoneBy)
{
    virtual_terminal board;
    (void)board.sleep(R"({"fast":true})");
    const std::int64_t start = desk_time();
    ASSERT_EQ(put("/sys/class/kt_misc/ioctl/wakeup_msec", "3600000"), 0);
    ASSERT_EQ(put("/sys/power/state", "mem"), 0);
    EXPECT_TIME(std::time(nullptr), start + 3590);
    EXPECT_TIME(hardware_time(), start + 3590);
    EXPECT_TIME(desk_time(), start);
}

TEST(Clock, TheHardwareClockStartsWithTheBoardsTimeAndIsSetByItself)
{
    const std::int64_t now = std::time(nullptr);
    EXPECT_TIME(hardware_time() + 1, now); // it may be about to tick
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    EXPECT_TIME(hardware_time() + 1, now);

    virtual_terminal board;
    board.forget();
    const opened_file clock("/dev/rtc0", O_RDWR);
    rtc_time wanted = record(2031, 12, 31, 23, 59, 58);
    ASSERT_EQ(error_of(ioctl(clock.fd(), RTC_SET_TIME, &wanted)), 0);
    EXPECT_TIME(hardware_time(), seconds_of(wanted));
    EXPECT_TIME(std::time(nullptr), future);
    const auto told = board.events_of({"ioctl"});
    ASSERT_GE(told.size(), 1U);
    EXPECT_EQ(told[0].path, "/dev/rtc0");
    EXPECT_EQ(told[0].request, static_cast<std::uint32_t>(RTC_SET_TIME));
    EXPECT_EQ(told[0].data, std::string(reinterpret_cast<const char*>(&wanted), sizeof wanted));

    (void)board.clock(R"({"advance_ms":3600000})");
    EXPECT_TIME(hardware_time(), seconds_of(wanted) + 3600) << "skipped time goes by for both";
}

TEST(Clock, TheHardwareClockRefusesWhatIsNoTime)
{
    const opened_file clock("/dev/rtc0", O_RDWR | O_NONBLOCK);
    for (rtc_time each :
         {record(2026, 2, 29), record(2026, 13, 1), record(1969, 1, 1), record(2026, 1, 0), record(2026, 1, 1, 24),
          record(2026, 1, 1, 0, 60), record(2026, 1, 1, 0, 0, 60), record(2026, 1, 1, -1)})
        EXPECT_EQ(error_of(ioctl(clock.fd(), RTC_SET_TIME, &each)), EINVAL) << each.tm_mon;
    rtc_time leap = record(2028, 2, 29);
    EXPECT_EQ(error_of(ioctl(clock.fd(), RTC_SET_TIME, &leap)), 0);
    EXPECT_EQ(error_of(ioctl(clock.fd(), RTC_UIE_ON, 0)), ENOTTY);
    char none[4];
    EXPECT_EQ(error_of(read(clock.fd(), none, sizeof none)), EAGAIN);
}

TEST(Clock, TheHardwareClockHasNoInterruptsAndAnyNumberOfOpeners)
{
    const opened_file first("/dev/rtc0", O_RDONLY);
    const opened_file second("/dev/rtc0", O_RDONLY);
    for (const int clock : {first.fd(), second.fd()}) {
        rtc_time now{};
        EXPECT_EQ(error_of(ioctl(clock, RTC_RD_TIME, &now)), 0);
        EXPECT_EQ(error_of(ioctl(clock, RTC_AIE_ON, 0)), ENOTTY);
        unsigned long count = 0;
        EXPECT_EQ(error_of(read(clock, &count, sizeof count)), EIO);
    }
}

TEST(Clock, TheHardwareClockKeepsATimeThatTheCalendarCannot)
{
    const opened_file clock("/dev/rtc0", O_RDWR);
    virtual_terminal board;
    for (rtc_time each : {record(2300, 1, 1), record(9999, 12, 31, 23)}) {
        ASSERT_EQ(error_of(ioctl(clock.fd(), RTC_SET_TIME, &each)), 0);
        EXPECT_TIME(hardware_time(), seconds_of(each));
        (void)board.clock(R"({"advance_ms":3600000})");
        EXPECT_TIME(hardware_time(), seconds_of(each) + 3600);
    }
    const std::int64_t now = std::time(nullptr);
    EXPECT_THAT(output_of("hwclock -s 2>&1"), testing::StartsWith("hwclock: settimeofday: Invalid argument"));
    EXPECT_TIME(std::time(nullptr), now);
}

TEST(Clock, HwclockCarriesTheTimeToTheHardwareClockAndBack)
{
    virtual_terminal board;
    ASSERT_EQ(ways_to_set[0].set(future), 0);
    EXPECT_EQ(output_of("hwclock -w -f /dev/rtc0"), "");
    EXPECT_TIME(hardware_time(), future);
    const auto programs = board.events_of({"program"});
    ASSERT_GE(programs.size(), 1U);
    EXPECT_THAT(programs[0].arguments, ElementsAre("hwclock", "-w", "-f", "/dev/rtc0"));
    EXPECT_EQ(board.events_of({"ioctl"})[0].request, static_cast<std::uint32_t>(RTC_SET_TIME));

    ASSERT_EQ(ways_to_set[0].set(future + 1'000'000), 0);
    EXPECT_THAT(output_of("TZ=UTC hwclock"), testing::StartsWith("2030-03-17 17:4"));
    EXPECT_EQ(output_of("hwclock --hctosys --utc --rtc=/dev/rtc0"), "");
    EXPECT_TIME(std::time(nullptr), future);
    EXPECT_EQ(output_of("hwclock --systohc -u; hwclock -s"), "");
}

TEST(Clock, HwclockSaysThatThereIsNoHardwareClock)
{
    EXPECT_EQ(output_of("hwclock -w -f /dev/rtc9 2>&1"),
              "hwclock: can't open '/dev/rtc9': No such file or directory\nfailed");
    virtual_terminal board;
    board.remove("/dev/rtc0");
    EXPECT_EQ(output_of("hwclock -w 2> /dev/null; echo $?"), "1\n");
    EXPECT_THAT(board.clock(), HasSubstr(R"("rtc":null)"));
}
