/** Which of the calls concern event nodes, and their texts. */
#include "tests/input/node_calls.h"

#include "tests/support/descriptors.h"

#include <fcntl.h>
#include <string_view>

namespace kt::tests {

namespace {

bool is_node(std::string_view path)
{
    return path.starts_with("/dev/input/");
}

} // namespace

void node_calls::before_open(int number, std::function<void()> what)
{
    earlier_.emplace_back(number, std::move(what));
}

std::vector<std::string> node_calls::take()
{
    stop();
    return std::move(made_);
}

int node_calls::begins(const c_call& call)
{
    if (call.name == "close" && is_node(descriptor_target(call.fd)))
        made_.push_back("close " + std::to_string(call.fd));
    if (call.name == "fcntl" && call.command == F_SETFL && (call.flags & O_NONBLOCK) != 0)
        made_.push_back("non-blocking " + std::to_string(call.fd));
    if (call.name == "open" && is_node(call.path)) {
        ++opens_;
        for (const auto& [number, what] : earlier_) {
            if (number == opens_)
                what();
        }
    }
    return 0;
}

void node_calls::ended(const c_call& call, int result)
{
    if (call.name == "open" && is_node(call.path))
        made_.push_back("open " + std::string(call.path) + " = " + std::to_string(result));
}

} // namespace kt::tests
