/** Fuzzes the reading functions of attributes: what is copied of any text into a buffer of any length, and the number.
 */
#include "tests/fuzz/input_attribute.h"

#include <kt_driver/base.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const unsigned int given = static_cast<unsigned int>(data[0] | data[1] << 8) % 5000;
    kt::fuzz::hold(data + 2, size - 2);
    const std::string text = kt::fuzz::visible_text();

    std::vector<char> room(given, '#'); // exactly as long as promised: a byte more is the sanitizer's find
    unsigned int length = given;
    if (kt_sys_attr_get_string("/sys/", "input", room.data(), &length) != 0 && given != 0)
        std::abort();
    if (given != 0 && length != std::min<std::size_t>(given, text.size()))
        std::abort();
    if (given != 0 && (text.compare(0, length, room.data(), length) != 0 ||
                       !std::all_of(room.begin() + length, room.end(), [](char byte) { return byte == '#'; })))
        std::abort();

    unsigned int number = 0;
    std::istringstream(text) >> number;
    if (kt_sys_attr_get_int("/sys/", "input") != static_cast<int>(number))
        std::abort();
    return 0;
}
