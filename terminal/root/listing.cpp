/** Reading a folder's names. */
#include "terminal/root/listing.h"

#include "terminal/root/failure.h"

#include <dirent.h>
#include <memory>

namespace kt::terminal {

namespace {

struct closer {
    void operator()(DIR* folder) const { closedir(folder); }
};

} // namespace

std::vector<std::string> names_in(const std::string& path)
{
    const std::unique_ptr<DIR, closer> folder(opendir(path.c_str()));
    if (!folder)
        fail_step("list " + path);
    std::vector<std::string> names;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

} // namespace kt::terminal
