// The USB socket: its role, and power from outside.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"
#include "misc/kt_misc.h"

int kt_get_usb_route(void)
{
    const int route = kt::attribute_int(kt::ioctl_directory, "usb_route");
    return route == -1 ? 0 : route;
}

int kt_usb_mode(int route)
{
    if (route == kt::kt_usb_route)
        return route;
    kt::kt_usb_route = route; // a switch that fails is not tried again by the next call
    if (route != 0)
        (void)system_helper("echo host > /sys/class/usb_role/13500000.otg-role-switch/role");
    else
        (void)system_helper("echo device > /sys/class/usb_role/13500000.otg-role-switch/role");
    return kt::set_attribute_int(kt::ioctl_directory, "usb_route", route);
}

int kt_usb_vbus_status(void)
{
    if (kt_hardware_ver() == 50)
        return 1;
    return kt::attribute_int(kt::ioctl_directory, "kt_usb_vbus_status");
}
