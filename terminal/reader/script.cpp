/** Answers in their order, each used once. */
#include "terminal/reader/script.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kt::terminal {

namespace {

void lay_down(const std::string& bytes, unsigned char* place, std::uint32_t& length)
{
    const std::size_t size = std::min(bytes.size(), reader_record::most);
    std::copy_n(bytes.begin(), size, place);
    length = static_cast<std::uint32_t>(size);
}

} // namespace

bool scripted_answer::changes_record() const
{
    return record || transmit || receive || transmit_length || receive_length || parameter;
}

void scripted_answer::apply_to(reader_record& changed) const
{
    if (record)
        std::memcpy(&changed, record->data(), std::min(record->size(), sizeof changed));
    if (transmit)
        lay_down(*transmit, changed.transmit, changed.transmit_length);
    if (receive)
        lay_down(*receive, changed.receive, changed.receive_length);
    changed.transmit_length = transmit_length.value_or(changed.transmit_length);
    changed.receive_length = receive_length.value_or(changed.receive_length);
    changed.parameter = parameter.value_or(changed.parameter);
}

void reader_script::add(const std::vector<scripted_answer>& answers)
{
    answers_.insert(answers_.end(), answers.begin(), answers.end());
}

std::optional<scripted_answer> reader_script::take(std::uint8_t request)
{
    const auto found = std::find_if(answers_.begin(), answers_.end(), [&](const scripted_answer& each) {
        return !each.request || *each.request == request;
    });
    if (found == answers_.end())
        return std::nullopt;
    scripted_answer taken = std::move(*found);
    answers_.erase(found);
    return taken;
}

} // namespace kt::terminal
