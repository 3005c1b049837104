/** The commands of a contactless payment card, and the order in which they must come. */
#include "terminal/cards/payment_card.h"

#include "terminal/cards/iso14443_identity.h"
#include "terminal/cards/payment_data.h"
#include "terminal/cards/payment_names.h"
#include "terminal/cards/tlv.h"

#include <optional>
#include <stdexcept>

namespace kt::terminal {

namespace {

constexpr std::size_t header_size = 4;
constexpr std::uint8_t select_by_name = 0x04;
constexpr std::uint8_t next_occurrence = 0x02;
constexpr std::uint8_t record_by_number = 0x04; // in the lower three bits of P2; the file is in the upper five
constexpr std::size_t shortest_name = 5;

/** A short command; Le is 00 or absent, as these cards are asked for all they have. */
struct command {
    std::uint16_t code; // class and instruction
    std::uint8_t p1;
    std::uint8_t p2;
    std::optional<std::string_view> data{}; // nothing: the lengths do not fit
};

constexpr std::uint16_t select_file = 0x00A4;
constexpr std::uint16_t read_record = 0x00B2;
constexpr std::uint16_t get_processing_options = 0x80A8;

std::optional<std::string_view> data_of(std::string_view body)
{
    const auto asks_for_all = [](std::string_view le) { return le.empty() || (le.size() == 1 && le[0] == '\0'); };
    if (asks_for_all(body))
        return std::string_view();
    const std::size_t length = static_cast<std::uint8_t>(body.front());
    body.remove_prefix(1);
    if (length == 0 || body.size() < length || !asks_for_all(body.substr(length)))
        return std::nullopt;
    return body.substr(0, length);
}

std::string with_status(std::string data, status_word status)
{
    const auto word = static_cast<std::uint16_t>(status);
    data += static_cast<char>(word >> 8);
    data += static_cast<char>(word & 0xFF);
    return data;
}

std::string refused(status_word status)
{
    return with_status({}, status);
}

card_family family_of(const card_file& file)
{
    const std::string type = file.text("type", "a");
    if (type != "a" && type != "b")
        throw std::invalid_argument("a card's \"type\" must be \"a\" or \"b\"");
    return type == "b" ? card_family::type_b : card_family::type_a;
}

class payment_card : public card {
public:
    explicit payment_card(const card_file& file)
        : name_(file.text("name", "")), identity_(iso14443_identity(family_of(file), file)), data_(file)
    {
    }

    const card_identity& identity() const override { return identity_; }

    std::string file() const override
    {
        card_file written;
        written.put_head("payment", name_).put("type", identity_.family == card_family::type_b ? "b" : "a");
        put_iso14443_identity(identity_, written);
        data_.put(written);
        return written.written();
    }

private:
    void powered() override { reached_ = step::nothing; }
    void asked(std::string_view frame, reply answered) override { answered(card_answer::of(answer(frame))); }

    enum class step { nothing, directory, application, processing };

    std::string answer(std::string_view frame);
    std::string selected(const command& asked);
    std::string processing_begun(const command& asked);
    std::string record(const command& asked) const;

    std::string name_;
    card_identity identity_;
    payment_data data_;
    step reached_ = step::nothing;
};

std::string payment_card::answer(std::string_view frame)
{
    if (frame.size() < header_size)
        return refused(status_word::wrong_length);
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(frame[i]); };
    const command asked{static_cast<std::uint16_t>(byte(0) << 8 | byte(1)), byte(2), byte(3),
                        data_of(frame.substr(header_size))};
    switch (asked.code) {
    case select_file:
        return selected(asked);
    case read_record:
        return record(asked);
    case get_processing_options:
        return processing_begun(asked);
    default:
        return refused(byte(0) == 0x00 || byte(0) == 0x80 ? status_word::instruction_not_supported
                                                          : status_word::class_not_supported);
    }
}

/** A name that is not found leaves selected what was. */
std::string payment_card::selected(const command& asked)
{
    if (data_.blocked() == payment_block::card)
        return refused(status_word::function_not_supported);
    if (asked.p1 != select_by_name || (asked.p2 != 0 && asked.p2 != next_occurrence))
        return refused(status_word::wrong_parameters);
    if (!asked.data || asked.data->empty())
        return refused(status_word::wrong_length);
    if (asked.p2 == next_occurrence) // each name is here once
        return refused(status_word::file_not_found);
    if (*asked.data == directory_name) {
        reached_ = step::directory;
        return with_status(data_.directory_fci(), status_word::done);
    }
    // The begin of a name will do: terminals ask for whole families of applications so.
    if (asked.data->size() < shortest_name || !data_.aid().starts_with(*asked.data))
        return refused(status_word::file_not_found);
    reached_ = step::application;
    return with_status(data_.application_fci(), data_.blocked() == payment_block::application
                                                    ? status_word::selected_but_invalidated
                                                    : status_word::done);
}

std::string payment_card::processing_begun(const command& asked)
{
    if (asked.p1 != 0 || asked.p2 != 0)
        return refused(status_word::wrong_parameters);
    if (!asked.data || asked.data->empty())
        return refused(status_word::wrong_length);
    if (reached_ != step::application || data_.blocked() != payment_block::none)
        return refused(status_word::conditions_not_satisfied);
    const auto given = first_tlv(*asked.data);
    if (!given || given->tag != tag_terminal_data || !given->rest.empty())
        return refused(status_word::wrong_data);
    if (given->value.size() != data_.asked_data())
        return refused(status_word::wrong_length);
    reached_ = step::processing;
    return with_status(data_.processing_options(), status_word::done);
}

std::string payment_card::record(const command& asked) const
{
    if ((asked.p2 & 0x07) != record_by_number)
        return refused(status_word::wrong_parameters);
    if (!asked.data || !asked.data->empty())
        return refused(status_word::wrong_length);
    if (reached_ != step::processing)
        return refused(status_word::conditions_not_satisfied);
    const auto file = data_.files().find(asked.p2 >> 3);
    if (file == data_.files().end())
        return refused(status_word::file_not_found);
    const auto found = file->second.find(asked.p1);
    if (found == file->second.end())
        return refused(status_word::record_not_found);
    return with_status(found->second, status_word::done);
}

} // namespace

card_ptr payment_card_of(const card_file& file)
{
    return std::make_shared<payment_card>(file);
}

} // namespace kt::terminal
