/** Fuzzes the version record: the cut at the last line feed, twice for the root file system, and at eleven characters.
 */
#include "tests/fuzz/input_attribute.h"

#include <kt_driver/base.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

/** One field as it must be, told by position instead of by search. */
std::string field_of(std::string text, int cuts)
{
    for (; cuts > 0; --cuts) {
        std::size_t last = text.size();
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\n')
                last = i;
        }
        text.resize(last);
    }
    text.resize(std::min<std::size_t>(text.size(), 11));
    text.resize(12, '\0');
    return text;
}

void expect(const char (&field)[12], const std::string& expected)
{
    if (std::memcmp(field, expected.data(), sizeof(field)) != 0)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    kt::fuzz::hold(data, size);
    const std::string once = field_of(kt::fuzz::visible_text(), 1);
    const std::string twice = field_of(kt::fuzz::visible_text(), 2);

    kt_sysinfo record;
    std::memset(&record, '#', sizeof(record));
    if (kt_get_sysinfo(&record) != 0)
        std::abort();
    expect(record.ubootver, once);
    expect(record.kernelver, once);
    expect(record.rootfsver, twice);
    expect(record.hardwarever, once);
    expect(record.wifimodule, once);
    return 0;
}
