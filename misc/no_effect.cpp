// The functions with no effect, which keep applications linking.
#include "kt_driver/misc.h"

void kt_misc_pm_lock(...) {}

void kt_misc_pm_unlock(...) {}

void kt_charge_current_set(...) {}

void safe_usleep(...) {}

void kt_usb2host(...) {}

void kt_usb2device(...) {}

void kt_cam_power(...) {}

void kt_usb2cam(...) {}

void kt_camera_lumen(...) {}

void kt_udisk_power(...) {}

void kt_cpu_vbus(...) {}

void kt_charge_en(...) {}

void kt_lock_filesystem(...) {}

void ql_qr_usb_camera_init(...) {}

void ql_qr_usb_atcmd_func(...) {}

void ql_qr_usb_open(...) {}

void ql_qr_usb_scan(...) {}

void ql_qr_usb_close(...) {}

int kt_jtag_status(...)
{
    return 0;
}

int kt_jtag_control(...)
{
    return 0;
}

int kt_barcode_trig(...)
{
    return 0;
}
