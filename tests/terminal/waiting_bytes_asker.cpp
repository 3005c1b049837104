/** What a program in the terminal gets from FIONREAD on descriptors of all kinds; each answer is a word on its output.
 */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/** The count, or the errno's name; a count that was not written is -1. */
std::string asked(int fd, unsigned long request = FIONREAD)
{
    int count = -1;
    const int result = ioctl(fd, request, &count);
    return result == 0 ? std::to_string(count) : strerrorname_np(errno);
}

std::string asked_at(int fd, void* address)
{
    return ioctl(fd, FIONREAD, address) == 0 ? "written" : strerrorname_np(errno);
}

std::string asked_in_thread(int fd)
{
    std::string answer;
    std::thread([&] { answer = asked(fd); }).join();
    return answer;
}

/** In a child's child, which shares nothing but the descriptor. */
std::string asked_in_grandchild(int fd)
{
    if (fork() == 0) {
        if (fork() == 0)
            _exit(std::atoi(asked(fd).c_str()));
        int status = 0;
        wait(&status);
        _exit(WEXITSTATUS(status));
    }
    int status = 0;
    wait(&status);
    return std::to_string(WEXITSTATUS(status));
}

/** Asks many times in some threads at once; how many answers were wrong. */
std::string wrong_answers(int fd, const std::string& right)
{
    int wrong[4] = {};
    std::thread threads[4];
    for (int at = 0; at < 4; ++at)
        threads[at] = std::thread([&, at] {
            for (int turn = 0; turn < 500; ++turn)
                wrong[at] += asked(fd) == right ? 0 : 1;
        });
    for (std::thread& each : threads)
        each.join();
    return std::to_string(wrong[0] + wrong[1] + wrong[2] + wrong[3]);
}

std::string of_pipe()
{
    int ends[2];
    if (pipe(ends) < 0 || write(ends[1], "abc", 3) != 3)
        return "no pipe";
    return asked(ends[0]);
}

std::string of_socket()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) < 0 || write(ends[1], "abcd", 4) != 4)
        return "no socket";
    return asked(ends[0]);
}

std::string of_file()
{
    const int fd = open("/tmp/file", O_RDWR | O_CREAT, 0600);
    if (fd < 0 || write(fd, "abcde", 5) != 5 || lseek(fd, 3, SEEK_SET) != 3)
        return "no file";
    return asked(fd);
}

} // namespace

int main(int argc, char** argv)
{
    const int device = argc > 1 ? open(argv[1], O_RDWR | O_NONBLOCK) : -1;
    for (int at = 2; at < argc; ++at) {
        const std::string what = argv[at];
        std::string answer = "?";
        if (what == "device")
            answer = asked(device);
        else if (what == "high-half") // the kernel looks at the low half of the request only
            answer = asked(device, sizeof(long) == 8 ? FIONREAD | (0xABCDUL << 16 << 16) : FIONREAD);
        else if (what == "hide") // as a program that holds secrets
            answer = std::to_string(prctl(PR_SET_DUMPABLE, 0));
        else if (what == "thread")
            answer = asked_in_thread(device);
        else if (what == "grandchild")
            answer = asked_in_grandchild(device);
        else if (what == "null")
            answer = asked_at(device, nullptr);
        else if (what == "constant")
            answer = asked_at(device, const_cast<char*>("constant"));
        else if (what == "path-only")
            answer = asked(open(argv[1], O_PATH));
        else if (what == "closed")
            answer = asked(999);
        else if (what == "negative")
            answer = asked(-1);
        else if (what == "pipe")
            answer = of_pipe();
        else if (what == "socket")
            answer = of_socket();
        else if (what == "file")
            answer = of_file();
        else if (what.starts_with("many-"))
            answer = wrong_answers(device, what.substr(5));
        else if (what == "write")
            answer = std::to_string(write(device, "x", 1));
        std::printf("%s ", answer.c_str());
        std::fflush(stdout);
    }
    return 0;
}
