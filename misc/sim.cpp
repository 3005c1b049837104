// The SIM's operator.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "kt_driver/misc.h"

int kt_sim_set_operate_id(int id)
{
    (void)kt::set_attribute_int(kt::ioctl_directory, "kt_sim_operate_id", id);
    return 0;
}

int kt_sim_get_operate_id(void)
{
    return kt::attribute_int(kt::ioctl_directory, "kt_sim_operate_id");
}
