/** Fuzzes configuration files: what is read and what is left after a change, against iniparser's own functions. */
#include "kt_driver/config.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iniparser/iniparser.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using dictionary_ptr = std::unique_ptr<dictionary, decltype(&iniparser_freedict)>;

/** A file of memory, by the name under which this process can open it. */
class memory_file {
public:
    memory_file() : fd_(memfd_create("ini", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {}
    ~memory_file() { close(fd_); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    const char* path() const { return path_.c_str(); }

    void hold(const std::string& text) const
    {
        if (ftruncate(fd_, 0) != 0 || pwrite(fd_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
            std::abort();
    }

    std::string text() const
    {
        std::string all(static_cast<std::size_t>(lseek(fd_, 0, SEEK_END)), '\0');
        if (pread(fd_, all.data(), all.size(), 0) != static_cast<ssize_t>(all.size()))
            std::abort();
        return all;
    }

private:
    int fd_;
    std::string path_;
};

dictionary_ptr loaded(const memory_file& from)
{
    return {iniparser_load(from.path()), iniparser_freedict};
}

/** The next word of the input: up to a line feed or a NUL. */
std::string next_word(std::string& input)
{
    const std::size_t end = input.find_first_of(std::string("\n\0", 2));
    std::string word = input.substr(0, end);
    input.erase(0, end == std::string::npos ? input.size() : end + 1);
    return word;
}

/** The text of the file that a change must leave. */
std::string changed(const memory_file& file, const std::string& section, const std::string& key,
                    const std::string& value)
{
    const dictionary_ptr expected = loaded(file);
    if (expected == nullptr)
        return file.text();
    if (!section.empty() && iniparser_find_entry(expected.get(), section.c_str()) == 0)
        iniparser_set(expected.get(), section.c_str(), nullptr);
    iniparser_set(expected.get(), (section + ":" + key).c_str(), value.c_str());
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    iniparser_dump_ini(expected.get(), stream);
    (void)std::fclose(stream);
    std::string all(text, size);
    std::free(text);
    return all;
}

void check_reading(const memory_file& file, const std::string& section, const std::string& key)
{
    std::string got(file.text().size() + 16, '#'); // as long as the longest text of the file
    const int result = kt_ini_read(file.path(), section.c_str(), key.c_str(), got.data());
    const dictionary_ptr expected = loaded(file);
    if (expected == nullptr) {
        if (result != -1 || got[0] != '\0')
            std::abort();
        return;
    }
    const char* const text = iniparser_getstring(expected.get(), (section + ":" + key).c_str(), "0");
    if (result != 0 || std::string(got.c_str()) != (text != nullptr ? text : "0"))
        std::abort();
}

/** What the calls print is not of interest; the fuzzer itself has kept its own stream. */
bool be_quiet()
{
    stderr = std::fopen("/dev/null", "we");
    return stderr != nullptr && std::freopen("/dev/null", "w", stdout) != nullptr;
}

} // namespace

/** The input: section, key and value, a line each, then the file. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = be_quiet();
    if (!quiet)
        std::abort();
    std::string input(reinterpret_cast<const char*>(data), size);
    const std::string section = next_word(input);
    const std::string key = next_word(input);
    const std::string value = next_word(input);

    static const memory_file file;
    file.hold(input);
    if (section.size() + key.size() + 1 > 1023) {
        char untouched = '#';
        if (kt_ini_config(file.path(), section.c_str(), key.c_str(), value.c_str()) != -1 || file.text() != input ||
            kt_ini_read(file.path(), section.c_str(), key.c_str(), &untouched) != -1 || untouched != '#')
            std::abort();
        return 0;
    }
    check_reading(file, section, key);
    const std::string expected = changed(file, section, key, value);
    if (kt_ini_config(file.path(), section.c_str(), key.c_str(), value.c_str()) != 0 || file.text() != expected)
        std::abort();
    check_reading(file, section, key);
    return 0;
}
