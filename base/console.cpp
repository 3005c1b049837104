// Console output: characters, bytes and the hexadecimal dump.
#include "base/failure.h"
#include "kt_driver/base.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace {

int write_bytes(const unsigned char* buf, int len, int raw)
{
    if (len <= 0)
        return len;
    if (buf == nullptr) {
        errno = EINVAL;
        return 0;
    }
    for (int i = 0; i < len; ++i)
        putchar_i_v1(buf[i], raw);
    return len;
}

void dump_line(unsigned offset, const unsigned char* bytes, int count)
{
    std::printf("%04X : ", offset);
    for (int i = 0; i < count; ++i)
        std::printf("%02X ", bytes[i]);
    std::printf(": ");
    for (int i = 0; i < count; ++i)
        std::putchar(std::isprint(bytes[i]) != 0 ? bytes[i] : '.');
    std::putchar('\n');
}

} // namespace

int kt_log_init(void)
{
    return 0;
}

int kt_printf_syncobj(void)
{
    return 0;
}

void kt_console_switch(void) {}

void kt_suspend_ucos(void) {}

int putchar_i_v1(int ch, int raw)
{
    if (raw == 0 && ch == '\n')
        std::putchar('\r');
    std::putchar(ch);
    return 1;
}

int kt_stdout(const unsigned char* buf, int len)
{
    return write_bytes(buf, len, 1);
}

// The older name says otherwise, but this one is the variant that converts.
int kt_stdout_irq(const unsigned char* buf, int len)
{
    return write_bytes(buf, len, 0);
}

void kt_log_hexdump(int len, const unsigned char* buf)
{
    if (len > 0 && buf == nullptr) {
        errno = EINVAL;
        return;
    }
    for (int offset = 0; offset < len;) {
        const int count = std::min(len - offset, 16);
        dump_line(static_cast<unsigned>(offset), buf + offset, count);
        offset += count;
    }
}
