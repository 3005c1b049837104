/** Whole files, put and looked at. */
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace kt::tests {

/** Makes a file hold this and nothing else. */
inline void put(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::trunc) << text;
}

/** What a file holds; empty when there is none. */
inline std::string held(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace kt::tests
