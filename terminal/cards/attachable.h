/** A card whose commands a program outside answers. */
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kt::terminal {

/**
 * Threads: any. Neither what is told nor the reply of the command is called under the card's own lock.
 */
class attachable {
public:
    virtual ~attachable() = default;

    /** The command that waits for its answer, if one does. */
    virtual std::optional<std::string> waiting_command() const = 0;

    /** Answers the command that waits; without any byte it is silence. False: none waits. */
    virtual bool answer(std::string bytes) = 0;

    /** @p told is called whenever a command has come, from the thread that brought it; empty: nobody is. */
    virtual void when_command(std::function<void()> told) = 0;
};

} // namespace kt::terminal
