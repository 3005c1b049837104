/** Words about cards to requests; files and samples are read on the way. */
#include "terminal/control/ctl_card_request.h"

#include "terminal/control/ctl_device_request.h"
#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"
#include "terminal/json/strict_json.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;
namespace files = std::filesystem;

/** Next to the program's own folder, in a build folder as in an installation. */
files::path samples_folder()
{
    return files::read_symlink("/proc/self/exe").parent_path().parent_path() / "share/kt-terminal/cards";
}

std::string samples()
{
    std::set<std::string> names;
    std::error_code none;
    for (const auto& each : files::directory_iterator(samples_folder(), none))
        if (each.path().extension() == ".json")
            names.insert(each.path().stem().string());
    std::string all;
    for (const std::string& each : names)
        all += " " + each;
    return all;
}

/** The card in a file, or in the sample of this name. */
json card_of(const std::string& word)
{
    files::path path = word;
    std::error_code none;
    if (!files::exists(path, none) && word.find('/') == std::string::npos)
        path = samples_folder() / (word + ".json");
    std::ifstream file(path);
    std::stringstream text;
    if (!(text << file.rdbuf()))
        throw usage_error("\"" + word + "\" is neither a card's file nor one of the samples" + samples());
    constexpr int deepest = 16;
    try {
        json card = parsed_json(text.str(), strict_json(deepest), false, true);
        if (!card.is_object())
            throw usage_error(path.string() + " is no JSON object");
        return card;
    } catch (const std::invalid_argument& refused) {
        throw usage_error(path.string() + ": " + refused.what());
    }
}

json card_request(const word_list& operands)
{
    json request = {{"op", "card"}};
    const std::string& verb = operands[0];
    const bool has_object = operands.size() == 2;
    if (verb == "tap" && has_object)
        request["tap"] = card_of(operands[1]);
    else if (verb == "remove")
        request["remove"] = has_object ? json(operands[1]) : json(true);
    else if (verb == "show" && has_object)
        request["show"] = operands[1];
    else if (verb != "list" || has_object)
        throw usage_error("behind \"card\" stands tap FILE, remove [NAME], list or show NAME");
    return request;
}

json apdu_request(const word_list& operands)
{
    json request = {{"op", "apdu"}};
    if (operands.size() == 1) {
        request["timeout_ms"] = whole_number("MS", operands[0]);
    } else if (!operands.empty()) {
        if (operands[0] != "answer")
            throw usage_error("behind \"apdu\" stands nothing, MS or \"answer HEX [NUMBER]\"");
        request["answer_hex"] = operands[1];
        if (operands.size() == 3)
            request["number"] = whole_number("NUMBER", operands[2]);
    }
    return request;
}

} // namespace

json ctl_card_request(const std::string& command, const word_list& words)
{
    if (command == "reader")
        return ctl_settings_request(command, words);
    const bool phone = command == "phone";
    if (command != "card" && command != "apdu" && !phone)
        return nullptr;
    const ctl_words said(words, {}, {});
    if (phone) {
        (void)said.operands(0, 0);
        return {{"op", "phone"}};
    }
    return command == "card" ? card_request(said.operands(1, 2)) : apdu_request(said.operands(0, 3));
}

std::string ctl_card_text(const json& answer)
{
    if (answer.contains("card"))
        return answer["card"].dump(4) + "\n";
    std::string text;
    for (const char* const list : {"cards", "pulled"}) {
        if (!answer.contains(list))
            continue;
        for (const json& each : answer[list])
            text += each.at("name").get<std::string>() + "\t" + each.at("card").get<std::string>() +
                    (std::string(list) == "pulled" ? "\tpulled away" : "") + "\n";
    }
    if (answer.contains("apdu_hex")) // the command first: a script cuts it off
        return answer["apdu_hex"].get<std::string>() + "\t" + answer.at("name").get<std::string>() + "\t" +
               answer.at("number").dump() + "\n";
    if (answer.contains("reads"))
        return ctl_state_text(answer);
    if (answer.contains("name"))
        return answer["name"].get<std::string>() + "\n";
    return text;
}

} // namespace kt::terminal
