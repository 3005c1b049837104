/** An attribute that holds the fuzzer's input: stands in for the kernel's side of one access. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kt::fuzz {

/** What every attribute holds from now on. */
void hold(const std::uint8_t* data, std::size_t size);

/** What a reader must see of it: one page at most, up to the first NUL. */
std::string visible_text();

} // namespace kt::fuzz
