/** A card whose commands a program outside answers. */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kt::terminal {

/** A command for the program. No two have the same number, those of other cards included. */
struct attached_command {
    std::uint64_t number;
    std::string bytes;
};

/**
 * Threads: any. Neither what is told nor the reply of the command is called under the card's own lock.
 */
class attachable {
public:
    virtual ~attachable() = default;

    /** The command that waits for its answer, if one does. */
    virtual std::optional<attached_command> waiting_command() const = 0;

    /** Answers the command of this number; without any byte it is silence. False: it does not wait, or no more. */
    virtual bool answer(std::uint64_t number, std::string bytes) = 0;

    /** @p told is called whenever a command has come, from the thread that brought it; empty: nobody is. */
    virtual void when_command(std::function<void()> told) = 0;
};

} // namespace kt::terminal
