/** The words of a power supply's properties, and the number that each stands for. */
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace kt::tests {

using word_table = std::map<std::string, std::int32_t>;

/** The tables by property. */
inline const std::map<int, word_table> supply_words = {
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

/** What a word stands for: 0 when it is in no table. */
inline std::int32_t number_of(const word_table& table, const std::string& word)
{
    const auto found = table.find(word);
    return found == table.end() ? 0 : found->second;
}

} // namespace kt::tests
