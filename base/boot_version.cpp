// The boot loader's version, from the running kernel's command line.
#include "base/boot_version.h"

#include "base/unique_fd.h"
#include "kt_driver/base.h"

#include <fcntl.h>

const char* kt_boot_ver(void)
{
    static char command_line[1024];
    static const char* const unknown = "V1.0.0";

    const int descriptor = open("/proc/cmdline", O_RDONLY);
    if (descriptor < 1) // 0 too: it stays open as the standard input that the process did not have
        return unknown;
    const kt::unique_fd fd(descriptor);

    std::memset(command_line, 0, sizeof command_line);
    if (read(fd.get(), command_line, sizeof command_line - 1) < 0)
        return unknown;
    const char* const version = kt::boot_version_in(command_line);
    return version != nullptr ? version : unknown;
}
