// Kernel attributes for the library's own functions, from which no exception may leave.
#pragma once

namespace kt {

/** kt_sys_attr_get_int(), with an allocation failure as -1 and ENOMEM. */
int attribute_int(const char* dir, const char* name);

/** kt_sys_attr_set_int(), with an allocation failure as -1 and ENOMEM. */
int set_attribute_int(const char* dir, const char* name, unsigned value);

/** An int as the drivers get it: the unsigned number of the same 32 bits. */
inline int set_attribute_int(const char* dir, const char* name, int value)
{
    return set_attribute_int(dir, name, static_cast<unsigned>(value));
}

} // namespace kt
