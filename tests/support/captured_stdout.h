/** Everything that reaches standard output while a library call runs: its own lines and those of its shell commands. */
#pragma once

#include <string>
#include <utility>

namespace kt::tests {

/**
 * Puts a memory file behind descriptor 1 from construction to take(). Children write to the same file at the same
 * place, so the text is whole and in order. Standard output is fully buffered meanwhile, as it is in a pipe.
 *
 * Assertions print to standard output too: check after take(), not before.
 */
class captured_stdout {
public:
    captured_stdout();
    ~captured_stdout();
    captured_stdout(const captured_stdout&) = delete;
    captured_stdout& operator=(const captured_stdout&) = delete;

    /** What has reached the descriptor so far; what still waits in the stream's buffer is not there. */
    std::string arrived() const;

    /** Flushes, ends the capture and returns all of it; errno stays what the captured call left. */
    std::string take();

private:
    void restore();

    int file_ = -1;
    int saved_ = -1;
};

/** What a call prints. */
template <typename Call>
std::string printed(Call&& call)
{
    captured_stdout output;
    std::forward<Call>(call)();
    return output.take();
}

} // namespace kt::tests
