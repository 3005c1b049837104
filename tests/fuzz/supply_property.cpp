/** Fuzzes the properties of a power supply: numbers against a stream, words against a map. */
#include "tests/fuzz/input_attribute.h"

#include "power/power_supply.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <string_view>

namespace {

using word_table = std::map<std::string, std::int32_t>;

const std::map<int, word_table> tables = {
    {0, {{"Unknown", 0}, {"Charging", 1}, {"Discharging", 2}, {"Not charging", 3}, {"Full", 4}}},
    {1, {{"Unknown", 0}, {"N/A", 1}, {"Trickle", 2}, {"Fast", 3}}},
    {2,
     {{"Unknown", 0},
      {"Good", 1},
      {"Overheat", 2},
      {"Dead", 3},
      {"Over voltage", 4},
      {"Unspecified failure", 5},
      {"Cold", 6}}},
    {5, {{"Unknown", 0}, {"NiMH", 1}, {"Li-ion", 2}, {"Li-poly", 3}, {"LiFe", 4}, {"NiCd", 5}, {"LiMn", 6}}},
    {31, {{"Unknown", 0}, {"Critical", 1}, {"Low", 2}, {"Normal", 3}, {"High", 4}, {"Full", 5}}},
    {38, {{"Battery", 0}, {"UPS", 1}, {"Mains", 2}, {"USB", 3}}},
    {39, {}}, // the model's name
};

std::int32_t expected_of(int prop, const std::string& text)
{
    const auto table = tables.find(prop);
    if (table == tables.end()) {
        std::int32_t number = 0;
        std::istringstream(text) >> number;
        return number;
    }
    const std::size_t last = text.rfind('\n');
    const auto found = table->second.find(last == std::string::npos ? text : text.substr(0, last));
    return found == table->second.end() ? 0 : found->second;
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
