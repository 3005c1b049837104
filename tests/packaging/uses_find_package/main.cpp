// A C++ application of another project: prints two bytes through the library.
#include <array>

#include <kt_driver/base.h>

int main()
{
    const std::array<unsigned char, 2> text = {'K', 'T'};
    kt_log_hexdump(2, text.data());
    return 0;
}
