/** Fuzzes the plan of the new time functions with images of any kind, and with this kernel's own changed in some
 * places. */
#include "terminal/notifier/time_code.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/auxv.h>

using namespace kt::terminal;

namespace {

constexpr std::size_t page = 4096;

void expect(bool so)
{
    if (!so)
        std::abort();
}

/** As the kernel lends it to this program; empty: it lends none. */
std::string own_image()
{
    const auto* const own = reinterpret_cast<const char*>(getauxval(AT_SYSINFO_EHDR));
    return own != nullptr ? std::string(own, image_size(std::string_view(own, page))) : std::string();
}

/** Each change is a place of two bytes and the eight that are written there. */
std::string changed(std::string image, std::string_view changes)
{
    constexpr std::size_t length = 8;
    std::uint16_t place = 0;
    for (; changes.size() >= sizeof place + length; changes.remove_prefix(sizeof place + length)) {
        std::memcpy(&place, changes.data(), sizeof place);
        if (image.size() >= length)
            image.replace(place % (image.size() - length + 1), length, changes.substr(sizeof place, length));
    }
    return image;
}

bool fits(std::string_view image, std::size_t offset, std::size_t size)
{
    return size <= image.size() && offset <= image.size() - size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string own = own_image();
    if (size == 0)
        return 0;
    const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string image = data[0] % 2 == 0 ? std::string(rest) : changed(own, rest);
    expect(image_size(std::string_view(image).substr(0, page)) % page == 0);
    for (const function_change& function : plain_calls(image))
        for (const code_change& each : function.changes) {
            expect(each.before.size() == each.after.size());
            expect(fits(image, each.offset, each.before.size()));
            expect(std::string_view(image).substr(each.offset, each.before.size()) == each.before);
        }
    return 0;
}
