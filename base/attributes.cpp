// The four flat functions that read and write kernel attributes.
#include "base/attributes.h"

#include "base/attribute_file.h"
#include "base/decimal.h"
#include "base/failure.h"
#include "base/sysfs_exception.h"
#include "kt_driver/base.h"

#include <algorithm>
#include <cstring>

namespace kt {

int attribute_int(const char* dir, const char* name)
{
    return enomem_on_bad_alloc([&] { return kt_sys_attr_get_int(dir, name); });
}

int set_attribute_int(const char* dir, const char* name, unsigned value)
{
    return enomem_on_bad_alloc([&] { return kt_sys_attr_set_int(dir, name, value); });
}

} // namespace kt

int kt_sys_attr_get_string(const char* dir, const char* name, char* buf, unsigned int* len)
{
    if (dir == nullptr || name == nullptr || len == nullptr || (buf == nullptr && *len > 0))
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::attribute_file file(dir, name);
        kt::text_page page;
        const char* const text = file.read(page);
        *len = std::min(*len, static_cast<unsigned>(std::strlen(text)));
        if (*len > 0)
            std::memcpy(buf, text, *len);
        return 0;
    });
}

int kt_sys_attr_get_int(const char* dir, const char* name)
{
    if (dir == nullptr || name == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::attribute_file file(dir, name);
        kt::text_page page;
        return static_cast<int>(kt::decimal_value(file.read(page)));
    });
}

int kt_sys_attr_set_string(const char* dir, const char* name, const char* value)
{
    if (dir == nullptr || name == nullptr || value == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::attribute_file(dir, name).write(value);
        return 0;
    });
}

int kt_sys_attr_set_int(const char* dir, const char* name, unsigned int value)
{
    if (dir == nullptr || name == nullptr)
        return kt::refuse(EINVAL);
    return kt::logged(__func__, [&] {
        kt::attribute_file(dir, name).write(value);
        return 0;
    });
}
