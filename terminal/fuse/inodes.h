/** The nodes that the kernel knows by number, and how often it was told of each. */
#pragma once

#include "terminal/model/node.h"

#include <cstdint>
#include <mutex>
#include <unordered_map>

namespace kt::terminal {

/** Threads: any. */
class inodes {
public:
    explicit inodes(node_ptr root) : root_(std::move(root)) {}

    /** The node behind a number; the kernel only asks for numbers it was told and has not forgotten. */
    node_ptr find(std::uint64_t ino) const;

    /** The kernel is told of the node once more. */
    void remember(const node_ptr& told);

    /** The kernel drops that many of the times it was told. */
    void forget(std::uint64_t ino, std::uint64_t times);

    /** The number by which the kernel knows a node: the top has one of its own. */
    std::uint64_t number(const node& known) const;

private:
    struct entry {
        node_ptr known;
        std::uint64_t told = 0;
    };

    node_ptr root_;
    mutable std::mutex mutex_;
    std::unordered_map<std::uint64_t, entry> entries_;
};

} // namespace kt::terminal
