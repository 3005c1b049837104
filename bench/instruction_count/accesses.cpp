// Makes one kind of attribute access a number of times, so that an instruction counter can tell what one of them takes.
//
// usage: accesses KIND COUNT DIR NAME
#include "kt_driver/base.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct attribute {
    const char* dir;
    const char* name;
    const char* path;
};

/** The four system calls that an access cannot do without. */
template <typename Transfer>
bool bare(const char* path, Transfer transfer)
{
    struct stat found;
    if (stat(path, &found) < 0)
        return false;
    const int fd = open(path, O_RDWR);
    if (fd < 0)
        return false;
    const bool done = transfer(fd) > 0;
    return close(fd) == 0 && done;
}

bool bare_read(const attribute& where)
{
    static char page[4096];
    return bare(where.path, [](int fd) { return read(fd, page, sizeof page); });
}

bool bare_write(const attribute& where)
{
    return bare(where.path, [](int fd) { return write(fd, "0x1f4", 5); });
}

bool get_int(const attribute& where)
{
    return kt_sys_attr_get_int(where.dir, where.name) >= 0;
}

bool get_string(const attribute& where)
{
    char text[32];
    unsigned length = sizeof text;
    return kt_sys_attr_get_string(where.dir, where.name, text, &length) == 0;
}

bool set_int(const attribute& where)
{
    return kt_sys_attr_set_int(where.dir, where.name, 500) == 0;
}

bool set_string(const attribute& where)
{
    return kt_sys_attr_set_string(where.dir, where.name, "0x1f4") == 0;
}

const struct {
    const char* name;
    bool (*once)(const attribute&);
} kinds[] = {
    {"bare_read", bare_read},   {"get_int", get_int}, {"get_string", get_string},
    {"bare_write", bare_write}, {"set_int", set_int}, {"set_string", set_string},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fputs("usage: accesses KIND COUNT DIR NAME\n", stderr);
        return 2;
    }
    const std::string path = std::string(argv[3]) + argv[4];
    const attribute where = {argv[3], argv[4], path.c_str()};
    for (const auto& kind : kinds) {
        if (std::strcmp(kind.name, argv[1]) != 0)
            continue;
        for (long left = std::atol(argv[2]); left > 0; --left) {
            if (!kind.once(where)) {
                std::perror(kind.name);
                return 1;
            }
        }
        return 0;
    }
    std::fprintf(stderr, "accesses: no kind \"%s\"\n", argv[1]);
    return 2;
}
