/** The operations on cards. */
#include "terminal/control/card_requests.h"

#include "terminal/cards/attachable.h"
#include "terminal/control/request_values.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/reader/chip.h"
#include "terminal/reader/reader.h"

#include <cctype>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

/** The digits of a name. */
std::string upper(std::string digits)
{
    for (char& each : digits)
        each = static_cast<char>(std::toupper(static_cast<unsigned char>(each)));
    return digits;
}

json file_of(contact& card)
{
    json file = {{"name", card.name}}; // first, and also where the file has none
    file.update(parsed_json(card.file()));
    return file;
}

json files_of(const std::vector<contact_ptr>& cards)
{
    json list = json::array();
    for (const contact_ptr& each : cards)
        list.push_back(file_of(*each));
    return list;
}

struct waiting_card {
    contact_ptr asking;
    attached_command command;
};

/** The cards in the field whose command waits for an answer: all, or that of the "number" or "name". */
std::vector<waiting_card> waiting_cards(const field& near, const json& wanted)
{
    const bool numbered = wanted.contains("number");
    const auto number = static_cast<std::uint64_t>(number_of(wanted, "number", 0, many));
    const auto name = optional_text(wanted, "name");
    std::vector<waiting_card> found;
    for (const contact_ptr& each : near.cards()) {
        const auto* const attached = dynamic_cast<const attachable*>(each->what.get());
        auto command = attached != nullptr ? attached->waiting_command() : std::nullopt;
        if (command && (!numbered || command->number == number) && (!name || each->name == *name))
            found.push_back({each, *std::move(command)});
    }
    return found;
}

void answer_one(const std::vector<waiting_card>& all, const std::string& answer)
{
    if (all.size() > 1)
        throw refusal("several cards wait for an answer: tell the \"number\" of the command");
    if (all.empty() || !dynamic_cast<attachable&>(*all[0].asking->what).answer(all[0].command.number, answer))
        throw refusal("no such command waits for an answer");
}

/** The card of this name, in the field or torn away from it. */
contact_ptr card_named(const field& searched, const std::string& name)
{
    for (const auto& all : {searched.cards(), searched.pulled()})
        for (const contact_ptr& each : all)
            if (each->name == name)
                return each;
    throw refusal("there is no card \"" + name + "\"");
}

} // namespace

card_requests::card_requests(board& asked, std::function<void()> try_again)
    : board_(asked), try_again_(std::move(try_again))
{
}

std::shared_ptr<chip> card_requests::driver() const
{
    if (const auto found = reader_at(board_))
        return found->driver().shared_from_this();
    throw refusal("the board has no contactless reader");
}

json card_requests::tap(field& into, const json& file) const
{
    const card_ptr card = card_of_file(file.dump(-1, ' ', false, json::error_handler_t::replace));
    const auto given = file.find("name");
    const std::string name = given != file.end() ? given->get<std::string>() : upper(to_hex(card->identity().uid));
    if (auto* const attached = dynamic_cast<attachable*>(card.get()))
        attached->when_command(try_again_);
    into.tap(name, card);
    return {{"name", name}};
}

json card_requests::card(const json& asked)
{
    const auto there = driver();
    field& near = there->near();
    if (asked.size() > 2)
        throw refusal("\"tap\", \"remove\" and \"show\" do not go together");
    if (const auto file = asked.find("tap"); file != asked.end())
        return tap(near, *file);
    if (asked.contains("show"))
        return {{"card", file_of(*card_named(near, text_of(asked, "show")))}};
    const auto gone = asked.find("remove");
    if (gone == asked.end())
        return {{"cards", files_of(near.cards())}, {"pulled", files_of(near.pulled())}};
    if (gone->is_boolean() && *gone == true)
        near.remove_all();
    else if (!gone->is_string())
        throw refusal("\"remove\" must be a card's name, or true for all");
    else if (!near.remove(gone->get<std::string>()))
        throw refusal("there is no card \"" + gone->get<std::string>() + "\" in the field");
    return json::object();
}

parked_request card_requests::apdu(const json& asked)
{
    const auto there = driver();
    parked_request waiting;
    waiting.deadline = deadline_of(asked);
    if (const auto answer = optional_text(asked, "answer")) {
        answer_one(waiting_cards(there->near(), asked), *answer);
        waiting.again = [](bool) { return accepted(json::object()); };
        return waiting;
    }
    if (asked.contains("number") || asked.contains("name"))
        throw refusal("\"number\" and \"name\" go with an answer");
    waiting.again = [there](bool late) -> std::optional<std::string> {
        const auto all = waiting_cards(there->near(), json::object());
        if (!all.empty())
            return accepted({{"apdu_hex", to_hex(all[0].command.bytes)},
                             {"name", all[0].asking->name},
                             {"number", all[0].command.number}});
        if (!late)
            return std::nullopt;
        return accepted({{"apdu_hex", nullptr}});
    };
    return waiting;
}

} // namespace kt::terminal
