/** Fuzzes the text of the tamper words: both calls, against a reading of the same text step by step. */
#include "kt_driver/base.h"
#include "kt_driver/tamper.h"
#include "tests/fuzz/input_attribute.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

static int waits = 0;

/** In place of the real wait between two questions. */
void mdelay(unsigned int milliseconds)
{
    if (milliseconds != 500)
        std::abort();
    ++waits;
}

namespace {

/** Behind a hexadecimal number of 32 bits as scanf takes it; null: there is none. */
const char* number(const char* text, std::uint32_t& value)
{
    text += std::strspn(text, " \t\n\v\f\r");
    char* end = nullptr;
    const unsigned long read = std::strtoul(text, &end, 16);
    if (end == text)
        return nullptr;
    value = static_cast<std::uint32_t>(read);
    const char* const digits = text + (*text == '+' || *text == '-' ? 1 : 0);
    if (end == digits + 1 && *digits == '0' && (*end == 'x' || *end == 'X'))
        return end + 1; // a prefix without digits: 0, and scanf has taken all of it
    return end;
}

void expected_words(const std::string& text, std::uint32_t& status, std::uint32_t& ram)
{
    if (!text.starts_with("0x"))
        return;
    const char* const rest = number(text.c_str() + 2, status);
    if (rest != nullptr && std::strncmp(rest, ",0x", 3) == 0)
        (void)number(rest + 3, ram);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    kt::fuzz::hold(data, size);
    std::uint32_t status = 0;
    std::uint32_t ram = 0;
    expected_words(kt::fuzz::visible_text().substr(0, 127), status, ram);

    waits = 0;
    std::uint8_t bytes[4] = {1, 2, 3, 4};
    if (!quiet || static_cast<std::uint32_t>(kt_ap_tamper_read()) != status)
        std::abort();
    if (kt_ap_tamper_ram_read(0, bytes) != 4 || std::memcmp(bytes, &ram, sizeof ram) != 0)
        std::abort();
    if (waits != (status == 0xCCCCCCCC ? 2 * 4 : 0))
        std::abort();
    return 0;
}
