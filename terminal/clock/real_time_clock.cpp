/** A second counter, and the kernel's record of a calendar time. */
#include "terminal/clock/real_time_clock.h"

#include "terminal/json/json.h"
#include "terminal/rtc_record.h"

#include <cerrno>
#include <climits>
#include <linux/rtc.h>
#include <optional>
#include <stdexcept>
#include <time.h>
#include <utility>

namespace kt::terminal {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr int first_year = 1900;

rtc_time record_of(seconds time)
{
    const auto count = static_cast<std::time_t>(time.count());
    tm parts{};
    gmtime_r(&count, &parts);
    return rtc_record_of(parts);
}

/** Nothing: the kernel would refuse it. Week day, day of the year and daylight saving say nothing. */
std::optional<seconds> time_of(const rtc_time& record)
{
    using namespace std::chrono;
    constexpr int epoch_year = 1970;
    if (record.tm_year < epoch_year - first_year || record.tm_year > SHRT_MAX - first_year || record.tm_mon < 0 ||
        record.tm_mon > 11 || record.tm_hour < 0 || record.tm_hour > 23 || record.tm_min < 0 || record.tm_min > 59 ||
        record.tm_sec < 0 || record.tm_sec > 59)
        return std::nullopt;
    const year_month_day date(year(record.tm_year + first_year), month(static_cast<unsigned>(record.tm_mon + 1)),
                              day(static_cast<unsigned>(record.tm_mday)));
    if (record.tm_mday < 1 || !date.ok())
        return std::nullopt;
    return sys_days(date).time_since_epoch() + hours(record.tm_hour) + minutes(record.tm_min) + seconds(record.tm_sec);
}

} // namespace

class real_time_clock::opened : public open_file {
public:
    explicit opened(std::shared_ptr<real_time_clock> clock) : clock_(std::move(clock)) {}

    bool stream() const override { return true; }
    void read(request_ptr asked, std::size_t, off_t) override { asked->fail(asked->may_wait() ? EIO : EAGAIN); }
    void write(request_ptr asked, std::string_view, off_t) override { asked->fail(EINVAL); }
    unsigned poll(std::function<void()>) override { return 0; }

    void control(device_request_ptr asked) override
    {
        if (asked->number() == RTC_RD_TIME) {
            const rtc_time record = record_of(clock_->time());
            if (!asked->copy_out(asked->argument(), &record, sizeof record))
                return asked->fail(EFAULT);
            return asked->done();
        }
        if (asked->number() != RTC_SET_TIME)
            return asked->fail(ENOTTY);
        rtc_time record{};
        if (!asked->copy_in(&record, asked->argument(), sizeof record))
            return asked->fail(EFAULT);
        const auto wanted = time_of(record);
        if (!wanted)
            return asked->fail(EINVAL);
        clock_->set(*wanted);
        asked->done();
    }

private:
    const std::shared_ptr<real_time_clock> clock_;
};

real_time_clock::real_time_clock(board& on) : node(S_IFREG | 0600), board_(on)
{
    const timespec now = board_.clock().now();
    set_to_ = seconds(now.tv_sec);
    set_at_ = ticks() - nanoseconds(now.tv_nsec);
}

result<std::unique_ptr<open_file>> real_time_clock::open(int)
{
    std::unique_ptr<open_file> file =
        std::make_unique<opened>(std::static_pointer_cast<real_time_clock>(shared_from_this()));
    return file;
}

/** What goes on whatever programs set. */
nanoseconds real_time_clock::ticks() const
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return seconds(now.tv_sec) + nanoseconds(now.tv_nsec) + board_.clock().skipped();
}

seconds real_time_clock::time() const
{
    const std::lock_guard lock(mutex_);
    return set_to_ + std::chrono::floor<seconds>(ticks() - set_at_);
}

void real_time_clock::set(seconds to)
{
    const std::lock_guard lock(mutex_);
    set_to_ = to;
    set_at_ = ticks();
}

void know_real_time_clock(board& known)
{
    known.set_device_maker("rtc", [](board& on, const std::string& path, const std::string& options) {
        if (!path.starts_with("/dev/"))
            throw std::invalid_argument("a hardware clock must lie below /dev");
        const auto read = parsed_json(options, nullptr, false);
        if (!read.is_object() || read.size() > 1 || (read.size() == 1 && !read.contains("kind")))
            throw std::invalid_argument("a hardware clock has no options");
        if (!on.put_device(path, std::make_shared<real_time_clock>(on)))
            throw std::invalid_argument(path + ": the place is taken");
    });
}

std::shared_ptr<real_time_clock> real_time_clock_at(const board& searched, std::string_view path)
{
    return std::dynamic_pointer_cast<real_time_clock>(searched.find(path));
}

} // namespace kt::terminal
