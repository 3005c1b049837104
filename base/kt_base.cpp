// The versions of this board, read at start and asked for by everyone.
#include "kt_driver/base.h"

#include <cstdlib>

namespace {

kt_sysinfo kt_info_ver;

/** A version that is no number is 0, as an unknown one. */
int number(const char* version)
{
    return std::atoi(version); // NOLINT(cert-err34-c)
}

} // namespace

int kt_base_init(void)
{
    (void)kt_get_sysinfo(&kt_info_ver);
    (void)kt_log_init();
    return 0;
}

int kt_get_hwver(void)
{
    return number(kt_info_ver.hardwarever);
}

int kt_hardware_ver(void)
{
    return kt_get_hwver();
}

int kt_get_wifimodule_hwver(void)
{
    return number(kt_info_ver.wifimodule);
}

int kt_wifimodule_ver(void)
{
    return kt_get_wifimodule_hwver();
}

const char* kt_hal_ver(void)
{
    return kt_info_ver.kernelver;
}

const char* kt_fatfs_ver(void)
{
    return kt_info_ver.rootfsver;
}

const char* kt_fal_ver(void)
{
    return "V1.6.8";
}
