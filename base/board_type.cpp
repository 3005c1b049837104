// What kind of board this is: type codes from the hardware version, and the processor's identifier.
#include "base/failure.h"
#include "kt_driver/base.h"

#include <climits>
#include <cstring>

namespace {

struct device_row {
    int first, last; // hardware versions
    int type;
};

// The first row that matches holds.
constexpr device_row device_types[] = {
    {501, 501, 88}, {90, 90, 92}, {300, INT_MAX, 65}, {200, 299, 61}, {100, 199, 80}, {INT_MIN, 79, 84}, {80, 99, 87},
};

} // namespace

int kt_get_device_type(void)
{
    const int version = kt_get_hwver();
    const device_row* row = device_types;
    while (version < row->first || version > row->last) // the rows leave no version out
        ++row;
    return row->type;
}

int kt_get_lcd_type(void)
{
    return kt_get_hwver() < 300 ? 2 : 11;
}

int kt_get_sublcd_type(void)
{
    return kt_get_hwver() == 90 ? 11 : -1;
}

unsigned char* kt_get_cpuid(unsigned char* buf)
{
    if (buf == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    std::memset(buf, 0, 16);
    return buf;
}
