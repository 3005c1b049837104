// Shell commands: fixed ones as they are, formatted ones with an echo line.
#include "base/shell.h"

#include "base/failure.h"
#include "kt_driver/base.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace kt {

int run_shell(const char* command)
{
    (void)std::fflush(stdout);
    return std::system(command);
}

} // namespace kt

int system_helper(const char* format, ...)
{
    if (format == nullptr)
        return kt::refuse(EINVAL);

    char command[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    if (length < 0)
        return -1; // half a command is none

    std::printf("system: %s\n", command);
    return kt::run_shell(command);
}
