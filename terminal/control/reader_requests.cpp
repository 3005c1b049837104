/** The operation on the reader itself: its state, its faults, its scripted answers. */
#include "terminal/control/card_requests.h"
#include "terminal/control/request_values.h"
#include "terminal/json/json.h"
#include "terminal/model/errno_names.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/reader/chip.h"
#include "terminal/reader/reader.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using std::chrono::milliseconds;

constexpr std::int64_t most_word = std::numeric_limits<std::uint32_t>::max();

/** Only these names stand in an object. */
void only_known(const json& object, const char* what, std::initializer_list<std::string_view> names)
{
    if (!object.is_object())
        throw refusal(std::string(what) + " must be an object");
    for (const auto& [name, value] : object.items())
        if (std::find(names.begin(), names.end(), name) == names.end())
            throw refusal(std::string(what) + " takes no \"" + name + "\"");
}

std::uint32_t word_of(const json& object, const char* name)
{
    return static_cast<std::uint32_t>(number_of(object, name, 0, most_word));
}

std::optional<std::uint32_t> optional_word(const json& object, const char* name)
{
    if (!object.contains(name))
        return std::nullopt;
    return word_of(object, name);
}

/** Bytes that a field of the record holds. */
std::optional<std::string> field_of(const json& object, const char* name)
{
    auto bytes = optional_text(object, name);
    if (bytes && bytes->size() > reader_record::most)
        throw refusal("\"" + std::string(name) + "\" holds 512 bytes");
    return bytes;
}

scripted_answer answer_of(const json& given)
{
    only_known(given, "an answer of the script",
               {"request", "result", "error", "receive", "receive_hex", "receive_length", "parameter", "transmit",
                "transmit_hex", "transmit_length", "record", "record_hex", "delay_ms"});
    scripted_answer answer;
    constexpr std::int64_t last_request = 0xFF;
    if (given.contains("request"))
        answer.request = static_cast<std::uint8_t>(number_of(given, "request", 0, last_request));
    if (const auto result = given.find("result"); result != given.end()) {
        if (!result->is_number_integer() || *result < std::numeric_limits<int>::min() ||
            *result > std::numeric_limits<int>::max())
            throw refusal("\"result\" must be a whole number of 32 bits");
        answer.result = result->get<int>();
    }
    if (const auto name = optional_text(given, "error")) {
        const auto error = errno_number(*name);
        if (!error)
            throw refusal("\"error\": \"" + *name + "\" is no name of an errno");
        answer.error = *error;
    }
    answer.delay = milliseconds(number_of(given, "delay_ms", 0, longest_ms));
    answer.record = optional_text(given, "record");
    if (answer.record && answer.record->size() != sizeof(reader_record))
        throw refusal("\"record\" must be all " + std::to_string(sizeof(reader_record)) + " bytes");
    answer.transmit = field_of(given, "transmit");
    answer.receive = field_of(given, "receive");
    answer.transmit_length = optional_word(given, "transmit_length");
    answer.receive_length = optional_word(given, "receive_length");
    answer.parameter = optional_word(given, "parameter");
    return answer;
}

std::vector<scripted_answer> script_of(const json& given)
{
    constexpr std::size_t most_answers = 100'000;
    if (!given.is_array() || given.size() > most_answers)
        throw refusal("\"script\" must be a list of answers");
    std::vector<scripted_answer> answers;
    for (const json& each : given)
        answers.push_back(answer_of(each));
    return answers;
}

void change(chip& driver, const json& wanted)
{
    only_known(wanted, "\"set\"", {"delay_ms", "noise", "seed", "busy", "pull_after"});
    constexpr std::int64_t all = 100;
    const std::int64_t delay = number_of(wanted, "delay_ms", 0, longest_ms);
    const std::int64_t noise = number_of(wanted, "noise", 0, all);
    const auto after = wanted.find("pull_after");
    std::optional<unsigned> pull_after;
    if (after != wanted.end() && !after->is_null())
        pull_after = static_cast<unsigned>(number_of(wanted, "pull_after", 0, many));
    const std::uint32_t seed = word_of(wanted, "seed");
    const bool busy = flag_of(wanted, "busy");
    // Nothing is refused from here on.
    driver.near().change([&](field_settings& air) {
        if (wanted.contains("delay_ms"))
            air.delay = milliseconds(delay);
        if (wanted.contains("noise"))
            air.noise = static_cast<unsigned>(noise);
        if (after != wanted.end())
            air.pull_after = pull_after;
    });
    if (wanted.contains("seed"))
        driver.near().seed(seed);
    if (wanted.contains("busy"))
        driver.with_state([&](reader_state& now) { now.busy = busy; });
}

json shown_family(reader_family family)
{
    const std::string_view name = name_of(family);
    return name.empty() ? json(nullptr) : json(name);
}

void put_contents(json& shown, const emulated_card& card)
{
    shown["header_hex"] = to_hex(card.header);
    shown["blocks_hex"] = to_hex(card.blocks);
    shown["block_count"] = card.blocks.size() / emulation_record::block_size;
}

json emulation_of(const emulated_card& card)
{
    if (!card.begun)
        return nullptr;
    json shown = {{"configured", card.configured}, {"running", card.running}};
    put_contents(shown, card);
    return shown;
}

json state_of(chip& driver)
{
    const reader_state state = driver.with_state([](const reader_state& now) { return now; });
    const field_settings air = driver.near().settings();
    json hce = {{"open", state.tag.open}};
    hce["ndef_hex"] = to_hex(state.tag.ndef);
    return {{"open", state.opened},
            {"busy", state.busy},
            {"family", shown_family(state.family)},
            {"power", state.power},
            {"type_a", state.type_a},
            {"type_b", state.type_b},
            {"delay_ms", air.delay.count()},
            {"noise", air.noise},
            {"pull_after", air.pull_after ? json(*air.pull_after) : json(nullptr)},
            {"scripted", driver.scripted()},
            {"emulation", emulation_of(state.emulated)},
            {"hce", std::move(hce)}};
}

} // namespace

json card_requests::reader(const json& asked)
{
    const auto there = driver();
    const auto script = asked.find("script");
    const auto answers = script != asked.end() ? script_of(*script) : std::vector<scripted_answer>();
    const bool forgets = flag_of(asked, "forget");
    if (const auto wanted = asked.find("set"); wanted != asked.end())
        change(*there, *wanted);
    if (forgets)
        there->forget_script();
    there->add_script(answers);
    return state_of(*there);
}

json card_requests::phone(const json&)
{
    const reader_state state = driver()->with_state([](const reader_state& now) { return now; });
    json seen = {{"reads", nullptr}};
    if (state.tag.open) {
        seen["reads"] = "ndef";
        seen["ndef_hex"] = to_hex(state.tag.ndef);
    } else if (state.emulated.running) {
        seen["reads"] = "card";
        put_contents(seen, state.emulated);
    }
    return seen;
}

} // namespace kt::terminal
