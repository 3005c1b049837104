// What the terminal has and stands in: dock, network interface, model.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"
#include "kt_driver/nfc.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

int kt_dock_exist(void)
{
    if (kt_hardware_ver() == 50)
        return 0;
    return kt::attribute_int(kt::ioctl_directory, "kt_dock_exist");
}

int kt_check_net_exist(const char* ifname)
{
    constexpr char directory[] = "/sys/class/net/";
    char path[128];
    if (ifname == nullptr || std::strlen(ifname) > sizeof path - sizeof directory)
        return kt::refuse(EINVAL);

    (void)std::snprintf(path, sizeof path, "%s%s", directory, ifname);
    const bool exists = access(path, F_OK) == 0;
    std::printf(exists ? "find %s\r\n" : "%s is not exist\r\n", path);
    return exists ? 1 : 0;
}

const char* kt_get_model_name(void)
{
    return kt_get_rfid_chip() == 6 ? "KT410 B11" : "KT410 B10";
}
