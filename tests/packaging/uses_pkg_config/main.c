/* A C application of another project: prints two bytes through the library. */
#include <kt_driver/kt_driver.h>

int main(void)
{
    const unsigned char text[] = {'K', 'T'};
    kt_log_hexdump(2, text);
    return 0;
}
