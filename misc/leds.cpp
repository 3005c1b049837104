// LEDs and the camera's light.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

int kt_led_control(int led, int state)
{
    constexpr char attribute[] = "/sys/class/kt_misc/nfc/nfc_io";

    switch (led) {
    case 1:
        (void)system_helper("echo 1 %d > %s", state, attribute);
        return 0;
    case 2:
        (void)system_helper("echo 2 %d > %s", state, attribute);
        return 0;
    case 3:
        (void)system_helper("echo 3 %d > %s", state, attribute);
        return 0;
    case 4:
        (void)system_helper("echo 4 %d > %s", state, attribute);
        return 0;
    case 5: // accepted, and nothing to set
        return 0;
    default:
        return kt::refuse(EINVAL);
    }
}

int kt_camera_leden(int value)
{
    return kt::set_attribute_int(kt::ioctl_directory, "cam_led", value);
}
