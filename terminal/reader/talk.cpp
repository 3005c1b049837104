/** What the requests of all families share: one frame, and what its answer must be. */
#include "terminal/reader/requests.h"

#include <cerrno>
#include <utility>

namespace kt::terminal {

void talk(const request_turn& turn, const std::string& frame, std::function<void(const card_answer&)> then)
{
    field& near = turn.on->near();
    const std::uint64_t number =
        near.exchange(turn.card, frame, [turn, then = std::move(then)](const field::outcome& came) {
            if (came.error != 0)
                turn.call->fail(came.error);
            else
                guarded(turn, [&] { then(came.answer); });
        });
    turn.call->when_over([weak = near.weak_from_this(), number] { // by a signal, while the card thinks
        if (const auto still = weak.lock())
            still->give_up(number);
    });
}

const std::string& bytes_of(const card_answer& answer, std::size_t size, int refused)
{
    if (answer.is == card_answer::form::silence)
        throw request_refused{ETIMEDOUT};
    if (answer.is == card_answer::form::bits)
        throw request_refused{refused};
    if (size != 0 && answer.bytes.size() != size)
        throw request_refused{EBADMSG};
    return answer.bytes;
}

void must_acknowledge(const card_answer& answer, int refused)
{
    if (answer.is == card_answer::form::silence)
        throw request_refused{ETIMEDOUT};
    if (!answer.is_acknowledgement())
        throw request_refused{answer.is == card_answer::form::bits ? refused : EBADMSG};
}

void give(const request_turn& turn, std::string_view bytes)
{
    if (!turn.call->receive(bytes))
        throw request_refused{EBADMSG};
    turn.call->done();
}

} // namespace kt::terminal
