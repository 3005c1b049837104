/** Standard output that takes nothing: what a call prints fails, and may not disturb the errno that it leaves. */
#pragma once

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kt::tests {

/** While it lives every print fails with ENOSPC. Ends without a trace of what was printed. */
class failing_stdout {
public:
    failing_stdout()
    {
        std::fflush(stdout);
        saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, STDOUT_FILENO);
        close(full);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
    failing_stdout(const failing_stdout&) = delete;
    failing_stdout& operator=(const failing_stdout&) = delete;
    ~failing_stdout()
    {
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        std::clearerr(stdout);
    }

private:
    int saved_ = -1;
};

} // namespace kt::tests
