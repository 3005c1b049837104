// The one exception of attribute access, and the log line that the flat functions make of it.
#pragma once

#include <exception>
#include <string>

namespace kt {

/** One access failed: at which step, on which path, and with which errno. */
class sysfs_exception : public std::exception {
public:
    sysfs_exception(const char* message, int code) : message(message), code(code) {}
    ~sysfs_exception() override = default;
    const char* what() const noexcept override { return message.c_str(); }

    std::string message;
    int code;
};

/** Writes the failure to syslog under the flat function's name; errno is its code then and afterwards. Gives -1. */
int log_failure(const char* function, const sysfs_exception& failure);

/** Runs one access; a failed one becomes one log line and -1. An allocation failure passes. */
template <typename Access>
int logged(const char* function, Access access)
{
    try {
        return access();
    } catch (const sysfs_exception& failure) {
        return log_failure(function, failure);
    }
}

} // namespace kt
