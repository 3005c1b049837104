/** The library's calls as texts, each noted, and made to fail where no board or kernel would do so. */
#pragma once

#include "tests/support/interposed_calls.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kt::tests {

/** Watches this thread's calls from construction to take(). */
class watched_calls : call_watcher {
public:
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

private:
    int begins(const c_call& call) override;

    std::vector<std::string> made_;
    std::vector<std::pair<std::string, int>> failures_;
    std::vector<std::pair<std::string, std::function<void()>>> earlier_;
};

} // namespace kt::tests
