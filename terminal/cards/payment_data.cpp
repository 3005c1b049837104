/** Reads what a payment card holds, and makes its templates of it. */
#include "terminal/cards/payment_data.h"

#include "terminal/cards/payment_names.h"
#include "terminal/cards/tlv.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace kt::terminal {

namespace {

using namespace std::string_literals;

constexpr std::size_t longest_answer = 256;
constexpr std::uint32_t last_file = 30;
constexpr std::uint32_t last_record = 255;
constexpr const char* blocks[] = {"", "application", "card"}; // in the order of payment_block

[[noreturn]] void wrong(const std::string& name, const std::string& what)
{
    throw std::invalid_argument("a card's \"" + name + "\" must be " + what);
}

std::string as_answer(std::string bytes, const std::string& what)
{
    if (bytes.size() > longest_answer)
        throw std::invalid_argument("a payment card's " + what + " must fit into an answer of 256 bytes");
    return bytes;
}

std::string sized_bytes(const card_file& file, const std::string& name, const std::string& absent, std::size_t least,
                        std::size_t most)
{
    std::string bytes = file.bytes(name).value_or(absent);
    if (bytes.size() < least || bytes.size() > most)
        wrong(name, std::to_string(least) + " to " + std::to_string(most) + " bytes in hexadecimal digits");
    return bytes;
}

std::string sized_text(const card_file& file, const std::string& name, const std::string& absent, std::size_t least,
                       std::size_t most)
{
    std::string text = file.text(name, absent);
    const bool plain = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
    if (!plain || text.size() < least || text.size() > most)
        wrong(name, std::to_string(least) + " to " + std::to_string(most) + " ASCII characters");
    return text;
}

std::string digits(const card_file& file, const std::string& name, const std::string& absent, std::size_t least,
                   std::size_t most)
{
    std::string text = sized_text(file, name, absent, least, most);
    if (!std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
        wrong(name, "digits");
    return text;
}

std::string expiry_month(const card_file& file)
{
    std::string text = file.text("expires", "4912");
    const bool digits = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    if (!digits || text.size() != 4 || text.substr(2) < "01" || text.substr(2) > "12")
        wrong("expires", "four digits, year and month");
    return text;
}

/** The last day of a month of this century, all as YYMMDD. */
std::string last_day(const std::string& month)
{
    const std::chrono::year year(2000 + std::stoi(month.substr(0, 2)));
    const std::chrono::month in_year(static_cast<unsigned>(std::stoi(month.substr(2))));
    const std::chrono::year_month_day_last last(year, std::chrono::month_day_last(in_year));
    return month + std::to_string(static_cast<unsigned>(last.day()));
}

std::string data_objects(const card_file& file, const std::string& name)
{
    std::string bytes = sized_bytes(file, name, "", 0, longest_answer);
    if (!is_tlv_list(bytes))
        wrong(name, "whole data objects: tags, lengths, values");
    return bytes;
}

payment_block block_of(const card_file& file)
{
    const auto* const found = std::ranges::find(blocks, file.text("blocked", ""));
    if (found == std::end(blocks))
        wrong("blocked", "\"application\" or \"card\"");
    return static_cast<payment_block>(found - std::begin(blocks));
}

/** Two digits to a byte, a filler F behind an odd one; 'D' is the separator of a track. */
std::string packed(std::string text)
{
    if (text.size() % 2 != 0)
        text += 'F';
    std::string bytes;
    const auto nibble = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(nibble(text[i]) << 4 | nibble(text[i + 1]));
    return bytes;
}

std::string byte(std::uint32_t value)
{
    return {static_cast<char>(value)};
}

} // namespace

payment_data::payment_data(const card_file& file)
    : aid_(sized_bytes(file, "aid", "\xF0\x00\x00\x00\x01\x00\x01"s, 5, 16)),
      label_(sized_text(file, "label", "TEST CARD", 1, 16)),
      priority_(file.number("priority", 1, 15)),
      pdol_(sized_bytes(file, "pdol", "", 0, longest_answer)),
      aip_(file.bytes_like("aip", "\x00\x00"s)),
      afl_(sized_bytes(file, "afl", "", 0, longest_answer)),
      processing_data_(data_objects(file, "processing_data")),
      blocked_(block_of(file))
{
    const auto asked = asked_by_dol(pdol_);
    if (!asked || *asked > 252) // what a short command has room for, behind a tag and a length of two bytes
        wrong("pdol", "whole pairs of tag and length that ask for at most 252 bytes");
    asked_data_ = *asked;
    if (afl_.size() % 4 != 0)
        wrong("afl", "entries of 4 bytes");
    if (file.has("records"))
        read_records(file);
    else
        read_holder(file);
    (void)as_answer(application_fci(), "application");
    (void)as_answer(processing_options(), "processing options");
}

void payment_data::read_records(const card_file& file)
{
    for (const card_file& each : file.list("records")) {
        const std::uint32_t sfi = each.number("sfi", 1, last_file);
        const std::uint32_t number = each.number("record", 1, last_record);
        if (sfi == 0 || number == 0)
            wrong("records", "numbered from \"sfi\" 1 and \"record\" 1 on");
        const std::string held = as_answer(tlv(tag_record, data_objects(each, "data")), "record");
        if (!records_[sfi].emplace(number, held).second)
            wrong("records", "given once each");
        each.all_known();
    }
}

void payment_data::read_holder(const card_file& file)
{
    pan_ = digits(file, "pan", "9999990000000006", 8, 19);
    expires_ = expiry_month(file);
    holder_ = sized_text(file, "holder", "TEST/CARD", 2, 26);
    constexpr const char* service_code = "201"; // with a chip, international; the discretionary data are zeroes
    records_[1][1] = tlv(tag_record, tlv(tag_track_2, packed(pan_ + 'D' + expires_ + service_code + "00000")) +
                                         tlv(tag_holder, holder_) + tlv(tag_pan, packed(pan_)) +
                                         tlv(tag_expiry, packed(last_day(expires_))));
}

void payment_data::put(card_file& into) const
{
    into.put_bytes("aid", aid_).put("label", label_).put_number("priority", priority_);
    into.put_bytes("pdol", pdol_).put_bytes("aip", aip_);
    if (!afl_.empty())
        into.put_bytes("afl", afl_);
    into.put_bytes("processing_data", processing_data_);
    if (blocked_ != payment_block::none)
        into.put("blocked", blocks[static_cast<std::size_t>(blocked_)]);
    if (!pan_.empty()) {
        into.put("pan", pan_).put("expires", expires_).put("holder", holder_);
        return;
    }
    std::vector<card_file> listed;
    for (const auto& [sfi, numbered] : records_) {
        for (const auto& [number, held] : numbered) {
            card_file each;
            each.put_number("sfi", sfi).put_number("record", number);
            each.put_bytes("data", first_tlv(held).value_or(ber_tlv()).value);
            listed.push_back(std::move(each));
        }
    }
    into.put_list("records", listed);
}

std::string payment_data::directory_fci() const
{
    const std::string entry = tlv(tag_aid, aid_) + tlv(tag_label, label_) + tlv(tag_priority, byte(priority_));
    const std::string listed = tlv(tag_issuer_data, tlv(tag_entry, entry));
    return tlv(tag_fci, tlv(tag_name, directory_name) + tlv(tag_fci_data, listed));
}

std::string payment_data::application_fci() const
{
    std::string data = tlv(tag_label, label_);
    if (!pdol_.empty())
        data += tlv(tag_pdol, pdol_);
    return tlv(tag_fci, tlv(tag_name, aid_) + tlv(tag_fci_data, data));
}

std::string payment_data::processing_options() const
{
    const std::string located = afl_.empty() ? locator() : afl_;
    return tlv(tag_options, tlv(tag_aip, aip_) + tlv(tag_afl, located) + processing_data_);
}

/** One entry for each run of records without a gap; none of them takes part in offline data authentication. */
std::string payment_data::locator() const
{
    std::string entries;
    for (const auto& [sfi, numbered] : records_) {
        for (auto first = numbered.begin(); first != numbered.end();) {
            std::uint32_t last = first->first;
            auto next = std::next(first);
            for (; next != numbered.end() && next->first == last + 1; ++next)
                last = next->first;
            entries += byte(sfi << 3) + byte(first->first) + byte(last) + byte(0);
            first = next;
        }
    }
    return entries;
}

} // namespace kt::terminal
