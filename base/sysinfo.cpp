// The version record, read from the kernel.
#include "base/failure.h"
#include "base/sysfs.h"
#include "kt_driver/base.h"

#include <cstring>
#include <string>

static_assert(sizeof(kt_sysinfo) == 60); // applications hold it

namespace {

void cut_at_last_line_feed(std::string& text)
{
    const std::size_t line_feed = text.rfind('\n');
    if (line_feed != std::string::npos)
        text.erase(line_feed);
}

/** Fills a field that was zeroed; a version that cannot be read leaves it empty. */
void read_version(const char* name, char (&field)[12], int cuts = 1)
{
    std::string text;
    if (kt::kt_sysinfo_helper::get_attr(name, text) < 0)
        return;
    for (; cuts > 0; --cuts)
        cut_at_last_line_feed(text);
    text.copy(field, sizeof field - 1);
}

} // namespace

int kt_get_sysinfo(kt_sysinfo* info)
{
    if (info == nullptr)
        return kt::refuse(EINVAL);
    std::memset(info, 0, sizeof *info);
    return kt::enomem_on_bad_alloc([info] {
        read_version("ubootver", info->ubootver);
        read_version("kernelver", info->kernelver);
        read_version("rootfsver", info->rootfsver, 2); // of two lines, the first is the version
        read_version("hardwarever", info->hardwarever);
        read_version("wifimodule", info->wifimodule);
        return 0;
    });
}
