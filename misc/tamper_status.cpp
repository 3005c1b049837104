// Tamper state, which the secure processor keeps and this side only asks for.
#include "base/board_directories.h"
#include "base/failure.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/tamper.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned no_answer = 0xcccccccc; // what the driver shows when the secure processor is silent
constexpr int attempts = 5;

struct tamper_words {
    unsigned status = 0;
    unsigned ram = 0;
};

/** False: the attribute could not be read. */
bool read_once(tamper_words& words)
{
    char text[128] = {};
    unsigned length = sizeof text - 1;
    const int result = kt::enomem_on_bad_alloc(
        [&] { return kt_sys_attr_get_string(kt::ioctl_directory, "sp_tamper_status", text, &length); });
    if (result < 0)
        return false;
    (void)std::sscanf(text, "0x%x,0x%x", &words.status, &words.ram); // NOLINT: what does not fit the form stays 0
    return true;
}

tamper_words read_words()
{
    for (int attempt = 1;; ++attempt) {
        tamper_words words;
        if (!read_once(words)) {
            const kt::errno_keeper keeper;
            (void)std::puts("get sp_tamper_status error");
            return words;
        }
        if (words.status != no_answer)
            return words;
        (void)std::puts("ap_tamper_read sp no resp..");
        if (attempt == attempts)
            return words;
        mdelay(500);
    }
}

} // namespace

int kt_ap_tamper_read(void)
{
    return static_cast<int>(read_words().status);
}

int kt_ap_tamper_ram_read(int, uint8_t* buf)
{
    if (buf == nullptr) {
        errno = EINVAL;
        return 0;
    }
    const tamper_words words = read_words();
    std::memcpy(buf, &words.ram, sizeof words.ram);
    return static_cast<int>(sizeof words.ram);
}

int kt_ap_tamper_ram_write(int, const uint8_t*, int len)
{
    return len;
}

int kt_ap_tamper_reset(void)
{
    (void)kt::run_shell("echo 0 > /sys/class/kt_misc/ioctl/sp_tamper_reset");
    mdelay(200);
    return 0;
}

int kt_ap_tamper_init(void)
{
    return 0;
}

int kt_ap_tamper_detect_enable(void)
{
    return 0;
}
