/** The C library's calls as the library makes them: each noted, and made to fail where no board or kernel would do so.
 */
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kt::tests {

/**
 * Watches this thread's calls of open, close, select, fcntl, read, write, of the pseudo-terminal functions and of those
 * that set a speed, from construction to end. A program that uses it has these calls in the place of the C library's.
 */
class watched_calls {
public:
    watched_calls();
    ~watched_calls();
    watched_calls(const watched_calls&) = delete;
    watched_calls& operator=(const watched_calls&) = delete;

    /**
     * In order: "select r", "select rwe" (which sets were given), "open O_RDWR /dev/null" (or the flags' number),
     * "fcntl F_GETFL", "fcntl F_SETFL" with " O_NONBLOCK" when that is among the flags, "read 16", "write 4", else the
     * name alone. Nothing is watched from here on.
     */
    std::vector<std::string> take();

    /** The next call whose text begins so fails with this, after those that did; it is not made. */
    void fail(const std::string& beginning, int cause);

    /** Runs once, before the next call whose text begins so. */
    void before(const std::string& beginning, std::function<void()> what);

    /** Used by the calls themselves: notes one; what it shall fail with, or 0. */
    static int note(const std::string& call);
    static bool watching();

private:
    std::vector<std::string> made_;
    std::vector<std::pair<std::string, int>> failures_;
    std::vector<std::pair<std::string, std::function<void()>>> earlier_;
};

} // namespace kt::tests
