/** Finding and executing the program, as env(1) does, and saying what is wrong if it cannot be. */
#include "terminal/root/program.h"

#include "terminal/root/failure.h"
#include "terminal/root/places.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

/** A kernel that does not know a file takes it for a script of sh, unless it is a program for another processor. */
void execute(const std::string& path, const std::vector<std::string>& arguments)
{
    std::vector<char*> words;
    words.reserve(arguments.size() + 2);
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    execv(path.c_str(), words.data());
    if (errno != ENOEXEC)
        return;
    char magic[4] = {};
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file && read(file.get(), magic, sizeof magic) == sizeof magic && memcmp(magic, "\177ELF", sizeof magic) != 0) {
        words[0] = const_cast<char*>(path.c_str());
        words.insert(words.begin(), const_cast<char*>("sh"));
        execv("/bin/sh", words.data());
    }
    errno = ENOEXEC;
}

/** Tries the folders of PATH in turn; errno is that of the best candidate. */
void execute_by_path(const std::vector<std::string>& arguments)
{
    const char* path = getenv("PATH");
    std::string left = path != nullptr ? path : "/bin:/usr/bin";
    int cause = ENOENT;
    while (!left.empty()) {
        const std::size_t end = std::min(left.find(':'), left.size());
        const std::string folder = left.substr(0, end);
        execute((folder.empty() ? "." : folder) + '/' + arguments[0], arguments);
        if (errno != ENOENT && errno != ENOTDIR)
            cause = errno;
        left.erase(0, end + 1);
    }
    errno = cause;
}

[[noreturn]] void fail_to_run(const std::string& name)
{
    const std::string step = "cannot run " + name + " (" + strerror(errno) + ")";
    const bool missing = errno == ENOENT || errno == ENOTDIR;
    struct stat entry {};
    if (missing && name.find('/') != std::string::npos && stat(name.c_str(), &entry) == 0)
        throw setup_failure{program_not_found,
                            step + ": what runs it (its loader or its script's interpreter) is not in the "
                                   "terminal; for a foreign program give '--sysroot DIR'"};
    if (missing)
        throw setup_failure{program_not_found,
                            step + ": there is no such program in the terminal, which shows the host's folders, "
                                   "but has its own /tmp, /run, /mnt, /dev, /proc, /sys and /kt"};
    if (errno == ENOEXEC)
        throw setup_failure{program_not_executable, step + ": it is a program for another processor"};
    if (stat(name.c_str(), &entry) == 0 && S_ISDIR(entry.st_mode))
        throw setup_failure{program_not_executable, step + ": it is a folder"};
    if (stat(name.c_str(), &entry) == 0 && (entry.st_mode & 0111) == 0)
        throw setup_failure{program_not_executable, step + ": make it executable with 'chmod +x " + name + "'"};
    throw setup_failure{program_not_executable, step};
}

} // namespace

void become_program(const program_start& start)
{
    if (chdir(start.working_folder.c_str()) < 0)
        fail_step("start in the working folder " + start.working_folder,
                  owner_of(start.working_folder) == owner::terminal
                      ? "the terminal has its own folder there; call kt-terminal from another one"
                      : "");
    umask(start.umask);
    if (start.own_group)
        setpgid(0, 0); // kill(0) would else reach the script or test driver that started the terminal
    for (int number = 1; number < NSIG; ++number)
        signal(number, SIG_DFL); // the helper survives the keyboard's signals, the program decides for itself
    const std::string& name = start.arguments[0];
    if (name.find('/') != std::string::npos)
        execute(name, start.arguments);
    else
        execute_by_path(start.arguments);
    fail_to_run(name);
}

} // namespace kt::terminal
