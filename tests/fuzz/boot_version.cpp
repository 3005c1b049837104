/** Fuzzes the search for the boot loader's version in a kernel command line. */
#include "base/boot_version.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    size = std::min<std::size_t>(size, 1023);  // what one read takes
    std::vector<char> line(data, data + size); // exactly as long as its text: a byte more is the sanitizer's find
    line.push_back('\0');
    const std::string text = line.data();

    const std::string key = "ktubver=";
    const auto found = std::search(text.begin(), text.end(), key.begin(), key.end());
    const char* version = kt::boot_version_in(line.data());
    if (found == text.end()) {
        if (version != nullptr)
            std::abort();
        return 0;
    }
    const auto start = found + static_cast<std::ptrdiff_t>(key.size());
    const std::string expected(start, std::find(start, text.end(), ' '));
    if (version == nullptr || expected != version)
        std::abort();
    return 0;
}
