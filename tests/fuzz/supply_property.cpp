/** Fuzzes the properties of a power supply: numbers against a stream, words against a map. */
#include "tests/fuzz/input_attribute.h"
#include "tests/power/supply_words.h"

#include "power/power_supply.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sstream>
#include <string_view>

namespace {

std::int32_t expected_of(int prop, const std::string& text)
{
    const auto table = kt::tests::supply_words.find(prop);
    if (table == kt::tests::supply_words.end()) {
        std::int32_t number = 0;
        std::istringstream(text) >> number;
        return number;
    }
    const std::size_t last = text.rfind('\n');
    return kt::tests::number_of(table->second, last == std::string::npos ? text : text.substr(0, last));
}

kt::kt_power_supply found_supply()
{
    kt::kt_power_supply supply("input");
    if (supply.active() != 0)
        std::abort();
    return supply;
}

} // namespace

/** The supply's folder is there, whatever this machine has; others, which the fuzzer itself reads, are as they are. */
extern "C" DIR* opendir(const char* path)
{
    const bool supply = std::string_view(path).starts_with("/sys/class/power_supply/");
    return fdopendir(open(supply ? "/" : path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const kt::kt_power_supply supply = found_supply();
    kt::fuzz::hold(data, size);
    const std::string text = kt::fuzz::visible_text();
    for (int prop = 0; prop < 42; ++prop) {
        kt::power_supply_propval cell = {0x5a5a5a5a};
        if (supply.get_property(static_cast<kt::power_supply_property>(prop), &cell) != 0 ||
            cell.value != expected_of(prop, text))
            std::abort();
    }
    return 0;
}
