// Reports the failures of attribute access to syslog.
#include "base/sysfs_exception.h"

#include "base/failure.h"

#include <syslog.h>

namespace kt {

int log_failure(const char* function, const sysfs_exception& failure)
{
    errno = failure.code; // what %m prints
    syslog(LOG_ERR, "%s %s %m\n", function, failure.what());
    return refuse(failure.code);
}

} // namespace kt
