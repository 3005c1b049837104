/** The C library's names of error numbers, both ways. */
#include "terminal/model/errno_names.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace kt::terminal {

namespace {

constexpr int highest = 4095; // the kernel gives no higher ones

// The C library names each number once; these are its other names.
constexpr std::pair<std::string_view, int> others[] = {
    {"EWOULDBLOCK", EWOULDBLOCK},
    {"EDEADLOCK", EDEADLOCK},
    {"ENOTSUP", ENOTSUP},
    {"EOPNOTSUPP", EOPNOTSUPP},
};

} // namespace

std::string errno_name(int error)
{
    const char* name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

std::optional<int> errno_number(std::string_view name)
{
    for (const auto& [other, error] : others)
        if (other == name)
            return error;
    for (int error = 1; error <= highest; ++error)
        if (const char* known = strerrorname_np(error); known != nullptr && known == name)
            return error;
    return std::nullopt;
}

} // namespace kt::terminal
