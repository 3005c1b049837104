// How the terminal starts: boot mode and logo, download mode, system update.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

#include <cstdio>
#include <cstring>

int kt_get_bootmode(void)
{
    const int mode = kt::attribute_int(kt::ioctl_directory, "sp_powerup_mode");
    return mode == -1 ? 0 : mode;
}

int kt_logo_write(const char* file)
{
    constexpr char script[] = "/kt/root/flash_logo.sh ";
    char command[256];
    if (file == nullptr || std::strlen(file) > sizeof command - sizeof script)
        return kt::refuse(EINVAL);

    std::printf("logo write %s\n", file);
    (void)std::snprintf(command, sizeof command, "%s%s", script, file);
    (void)kt::run_shell(command);
    return 0;
}

int kt_reboot_edl(void)
{
    return kt::run_shell("/kt/kt_module/autodloader.sh");
}

int kt_ota_system(const char* package)
{
    if (package == nullptr)
        return kt::refuse(EINVAL);
    (void)system_helper("mkdir /mnt/data/recovery/");
    (void)system_helper("mv %s /mnt/data/recovery/ota.swu", package);
    (void)system_helper("fw_setenv mode boot-recovery");
    return 0;
}
