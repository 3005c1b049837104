/** An attribute file as the kernel's drivers show it: one small text, one store per write. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/node.h"

#include <functional>
#include <mutex>

namespace kt::terminal {

class attribute_file : public node {
public:
    explicit attribute_file(attribute_state state);

    struct stat status() const override;
    int change(const status_change& wanted) override;
    result<std::unique_ptr<open_file>> open(int flags) override;

    attribute_state state() const;
    void set(attribute_state state);
    void set_text(std::string text);
    void watch(std::function<void(const std::string&)> written);
    void guard(attribute_guard guard);

private:
    class opened;

    std::string text() const;
    int store(std::string_view written);
    attribute_guard guarded() const;

    mutable std::mutex mutex_; // reads and writes come without the tree's lock
    attribute_state state_;
    std::function<void(const std::string&)> written_;
    attribute_guard guard_;
};

} // namespace kt::terminal
