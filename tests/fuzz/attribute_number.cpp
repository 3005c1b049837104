/** Fuzzes the number parser of attributes against the stream whose results it must give. */
#include "base/decimal.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    unsigned int expected = 0;
    std::istringstream(text.c_str()) >> expected; // both end at the first NUL
    if (kt::decimal_value(text.c_str()) != expected)
        std::abort();
    return 0;
}
