/* The clock as a C application uses it: the record's fields in their order, and a call that takes any arguments. */
#include "tests/misc/clock_in_c.h"

#include <stddef.h>

static const kt_rtc_time second_of_march = {56, 34, 12, 2, 3, 2024};

uint32_t seconds_reckoned_by_c(void)
{
    return kt_mktime(&second_of_march);
}

void time_callbacks_set_by_c(void)
{
    kt_rtc_set_timecb();
    kt_rtc_set_timecb(NULL);
    kt_rtc_set_timecb(1, "text", 2.5, &second_of_march, 0x100000000LL);
}
