/** The one program behind many names: reports its arguments to the board and does what the answer says. */
#include "terminal/own_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/reboot.h>
#include <unistd.h>

namespace {

constexpr std::size_t longest_report = 1048576; // what the board takes in one write
constexpr int cannot_run = 126;

constexpr std::size_t longest_answer = 65536;

char answer[longest_answer + 1];

const char* name_of(const char* path)
{
    const char* slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

[[noreturn]] void complain(const char* name, const char* text)
{
    fprintf(stderr, "%s: %s\n", name, text);
    _exit(cannot_run);
}

/** All arguments, each with its NUL, one after the other: as the kernel laid them out for nearly every process. */
ssize_t send_arguments(int report, int argc, char** argv)
{
    std::size_t size = 0;
    bool in_one_piece = true;
    for (int at = 0; at < argc; ++at) {
        in_one_piece = in_one_piece && argv[at] == argv[0] + size;
        size += strlen(argv[at]) + 1;
    }
    if (in_one_piece)
        return write(report, argv[0], size < longest_report ? size : longest_report);

    char* all = static_cast<char*>(malloc(size));
    if (all == nullptr)
        return -1;
    char* end = all;
    for (int at = 0; at < argc; ++at)
        end = stpcpy(end, argv[at]) + 1;
    return write(report, all, size < longest_report ? size : longest_report);
}

void print(const char* text, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, text, size);
        if (written < 0 && errno != EINTR)
            return;
        if (written > 0) {
            text += written;
            size -= static_cast<std::size_t>(written);
        }
    }
}

[[noreturn]] void go_down(const char* name, int how)
{
    if (reboot(how) < 0)
        complain(name, strerror(errno));
    for (;;)
        pause(); // the kernel ends this process with all others
}

[[noreturn]] void run(const char* name, const char* path, char** argv)
{
    execv(path, argv);
    fprintf(stderr, "%s: cannot run %s: %s\n", name, path, strerror(errno));
    _exit(errno == ENOENT ? 127 : cannot_run);
}

/** The rest of an answer that begins with this word; null if it begins with another. */
const char* after(const char* word)
{
    const std::size_t length = strlen(word);
    return strncmp(answer, word, length) == 0 ? answer + length : nullptr;
}

[[noreturn]] void obey(const char* name, char** argv)
{
    if (const char* status = after("exit "))
        _exit(atoi(status));
    if (const char* path = after("run "))
        run(name, path, argv);
    if (strcmp(answer, "restart") == 0)
        go_down(name, RB_AUTOBOOT);
    if (strcmp(answer, "off") == 0)
        go_down(name, RB_POWER_OFF);
    if (const char* text = after("fail "))
        complain(name, text);
    complain(name, "the terminal gave an answer that is not understood");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 0)
        return cannot_run;
    const char* name = name_of(argv[0]);
    const int report = open(kt::terminal::own::report, O_RDWR | O_CLOEXEC);
    if (report < 0 || send_arguments(report, argc, argv) < 0) {
        // A shell must work whatever became of the board: it is what cleans up.
        if (strcmp(name, "sh") == 0)
            run(name, "/bin/bash", argv);
        complain(name, strerror(errno));
    }
    const ssize_t size = read(report, answer, longest_answer);
    if (size < 0)
        complain(name, strerror(errno));
    close(report);
    answer[size] = '\0';
    if (char* line_feed = static_cast<char*>(memchr(answer, '\n', static_cast<std::size_t>(size)))) {
        *line_feed = '\0';
        print(line_feed + 1, static_cast<std::size_t>(answer + size - (line_feed + 1)));
    }
    obey(name, argv);
}
