/** What ioctl(2) asks of an input device. */
#include "terminal/input/input_device.h"

#include <algorithm>
#include <cerrno>
#include <linux/input.h>

namespace kt::terminal {

namespace {

/** Answers with bytes, cut to the room that the number tells; the result is how many there are. */
void give(device_request& asked, std::string_view bytes)
{
    const std::size_t size = std::min<std::size_t>(bytes.size(), _IOC_SIZE(asked.number()));
    if (asked.copy_out(asked.argument(), bytes.data(), size))
        asked.done(static_cast<int>(size));
    else
        asked.fail(EFAULT);
}

/** The number without the size of its record, where that is the caller's choice. */
constexpr std::uint32_t without_size(std::uint32_t number)
{
    return number & ~(std::uint32_t{_IOC_SIZEMASK} << _IOC_SIZESHIFT);
}

} // namespace

void input_device::control(client& by, device_request_ptr asked)
{
    const bool gone = [&] {
        const std::lock_guard lock(mutex_);
        return gone_;
    }();
    if (gone)
        return asked->fail(ENODEV);
    const std::uint32_t number = asked->number();
    switch (number) {
    case EVIOCGVERSION:
        return answer_with(*asked, int{EV_VERSION});
    case EVIOCGID:
        return answer_with(*asked, input_id{identity_.bus, identity_.vendor, identity_.product, identity_.version});
    case EVIOCGRAB:
        if (const int error = grab(by, asked->argument() != 0); error != 0)
            return asked->fail(error);
        return asked->done();
    default:
        break;
    }
    if (without_size(number) == EVIOCGNAME(0)) {
        const std::string_view with_end(identity_.name.c_str(), identity_.name.size() + 1);
        return give(*asked, with_end);
    }
    constexpr unsigned types = EV_CNT;
    const std::uint32_t from_bits = without_size(number) - std::uint32_t{EVIOCGBIT(0, 0)};
    if (from_bits < types) {
        const auto bits = abilities_.bits(from_bits, asked->caller_has_32_bits() ? 4 : sizeof(long));
        return bits ? give(*asked, *bits) : asked->fail(EINVAL);
    }
    const std::uint32_t axis = number - std::uint32_t{EVIOCGABS(0)};
    if (axis < ABS_CNT && !abilities_.axes.empty()) {
        input_absinfo info{};
        if (abilities_.can(EV_ABS, axis)) {
            info.maximum = largest_axis_value;
            info.value = axis_value(static_cast<std::uint16_t>(axis));
        }
        return answer_with(*asked, info);
    }
    asked->fail(EINVAL);
}

/** An errno, or 0. */
int input_device::grab(client& by, bool wanted)
{
    const std::lock_guard lock(mutex_);
    if (wanted && grabbed_by_ != nullptr)
        return EBUSY;
    if (!wanted && grabbed_by_ != &by)
        return EINVAL;
    grabbed_by_ = wanted ? &by : nullptr;
    return 0;
}

/** The last one; the kernel keeps none of a multi-touch axis. */
std::int32_t input_device::axis_value(std::uint16_t axis) const
{
    const std::lock_guard lock(mutex_);
    const auto known = axes_.find(axis);
    return known == axes_.end() || axis >= ABS_MT_SLOT ? 0 : known->second;
}

} // namespace kt::terminal
