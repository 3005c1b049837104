// One attribute access through the library against the bare system calls, on a plain file in memory.
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/base.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using kt::bench::require;

namespace {

/** A file that looks to the library like an attribute; its path is as long as the driver's paths are. */
class memory_attribute {
public:
    memory_attribute()
    {
        char folder[] = "/dev/shm/kt.XXXXXX";
        if (mkdtemp(folder) == nullptr)
            fail("mkdtemp");
        folder_ = folder;
        dir_ = folder_ + "/ioctl/";
        path_ = dir_ + name();
        if (mkdir(dir_.c_str(), 0700) < 0)
            fail("mkdir");
        std::FILE* const file = std::fopen(path_.c_str(), "w");
        if (file == nullptr || std::fputs("500\n", file) < 0 || std::fclose(file) != 0)
            fail("write");
    }
    memory_attribute(const memory_attribute&) = delete;
    memory_attribute& operator=(const memory_attribute&) = delete;
    ~memory_attribute()
    {
        (void)unlink(path_.c_str());
        (void)rmdir(dir_.c_str());
        (void)rmdir(folder_.c_str());
    }

    const char* dir() const { return dir_.c_str(); }
    const char* name() const { return "usb_route"; }
    const char* path() const { return path_.c_str(); }

private:
    [[noreturn]] static void fail(const char* step)
    {
        std::perror(step);
        std::exit(1);
    }

    std::string folder_, dir_, path_;
};

/** The four system calls that an access cannot do without. */
template <typename Transfer>
void bare(const char* path, Transfer transfer)
{
    struct stat found;
    require(stat(path, &found) == 0);
    const int fd = open(path, O_RDWR);
    require(fd >= 0);
    require(transfer(fd) > 0);
    require(close(fd) == 0);
}

void bare_read(const memory_attribute& file)
{
    static char page[4096];
    bare(file.path(), [](int fd) { return read(fd, page, sizeof page); });
}

void bare_write(const memory_attribute& file)
{
    bare(file.path(), [](int fd) { return write(fd, "0x1f4", 5); });
}

constexpr int calls = 20; // of some 2 us each: a block is over before the scheduler looks
constexpr int blocks = 10'000;
constexpr double most = 1.05;

template <typename Bare, typename Library>
void compare(benchmark::State& state, const char* what, Bare plain, Library library)
{
    const memory_attribute file;
    const auto found = kt::bench::side_by_side(
        state, calls, [&] { plain(file); }, [&] { require(library(file)); });
    kt::bench::figure(what, found.ratio(), "x", most, kt::bench::side_by_side_noise);
}

void get_int(benchmark::State& state)
{
    compare(state, "attribute read as number, against bare calls", bare_read,
            [](const memory_attribute& file) { return kt_sys_attr_get_int(file.dir(), file.name()) == 500; });
}

void get_string(benchmark::State& state)
{
    compare(state, "attribute read as text, against bare calls", bare_read, [](const memory_attribute& file) {
        char text[32];
        unsigned length = sizeof text;
        return kt_sys_attr_get_string(file.dir(), file.name(), text, &length) == 0 && length == 4;
    });
}

void set_int(benchmark::State& state)
{
    compare(state, "attribute write of a number, against bare calls", bare_write,
            [](const memory_attribute& file) { return kt_sys_attr_set_int(file.dir(), file.name(), 500) == 0; });
}

void set_string(benchmark::State& state)
{
    compare(state, "attribute write of a text, against bare calls", bare_write,
            [](const memory_attribute& file) { return kt_sys_attr_set_string(file.dir(), file.name(), "0x1f4") == 0; });
}

BENCHMARK(get_int)->UseManualTime()->Iterations(blocks);
BENCHMARK(get_string)->UseManualTime()->Iterations(blocks);
BENCHMARK(set_int)->UseManualTime()->Iterations(blocks);
BENCHMARK(set_string)->UseManualTime()->Iterations(blocks);

} // namespace
