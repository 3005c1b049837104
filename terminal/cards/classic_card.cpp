/** The commands of Mifare Classic, and what state of the card lets them through. */
#include "terminal/cards/classic_card.h"

#include "terminal/cards/card_bytes.h"
#include "terminal/cards/classic_memory.h"
#include "terminal/cards/value_block.h"

#include <limits>
#include <optional>

namespace kt::terminal {

namespace {

enum command : std::uint8_t {
    read = 0x30,
    halt = 0x50,
    auth_key_a = 0x60,
    auth_key_b = 0x61,
    write = 0xA0,
    transfer = 0xB0,
    decrement = 0xC0,
    increment = 0xC1,
    restore = 0xC2,
};

enum class fault : std::uint8_t { invalid_operation = 0, transmission = 1 };

class classic_card final : public card {
public:
    explicit classic_card(const card_file& file) : name_(file.text("name", "")), memory_(file)
    {
        identity_.family = card_family::classic;
        identity_.uid = memory_.uid();
        identity_.atqa = memory_.uid().size() == 4 ? 0x0004 : 0x0044;
        identity_.sak = 0x08;
    }

    const card_identity& identity() const override { return identity_; }
    std::string file() const override;

private:
    struct session {
        unsigned sector;
        classic_key key;
    };
    struct first_step {
        std::uint8_t command;
        unsigned block;
        value_block source; // of a value command
    };

    void powered() override { forget(); }
    void asked(std::string_view frame, reply answered) override { answered(answer(frame)); }
    card_answer answer(std::string_view frame);
    card_answer authenticate(std::string_view frame);
    card_answer on_block(std::uint8_t command, unsigned block, const classic_access& access);
    card_answer second_step(const first_step& begun, std::string_view operand);
    card_answer calculated(const first_step& begun, std::string_view operand);
    card_answer value_step(std::uint8_t command, unsigned block);
    void write_block(unsigned block, std::string_view bytes);
    std::string readable_trailer(unsigned sector, const classic_access& access) const;
    bool allowed(std::uint8_t command, unsigned block, const classic_access& access) const;
    card_answer refused(fault why);
    void forget();

    std::string name_;
    classic_memory memory_;
    card_identity identity_;
    std::optional<session> session_;
    std::optional<first_step> begun_;
    std::optional<value_block> transfer_buffer_;
};

std::string classic_card::file() const
{
    card_file file;
    file.put_head("classic_1k", name_);
    memory_.put_into(file);
    return file.written();
}

void classic_card::forget()
{
    session_.reset();
    begun_.reset();
    transfer_buffer_.reset();
}

card_answer classic_card::refused(fault why)
{
    const unsigned buffer_is_empty = transfer_buffer_ ? 0 : 4;
    fall_silent();
    return card_answer::refuse(buffer_is_empty + static_cast<unsigned>(why));
}

card_answer classic_card::answer(std::string_view frame)
{
    if (begun_) {
        const first_step begun = *begun_;
        begun_.reset();
        return second_step(begun, frame);
    }
    if (frame.empty())
        return refused(fault::transmission);
    const std::uint8_t command = byte_at(frame, 0);
    if (command == auth_key_a || command == auth_key_b)
        return authenticate(frame);
    if (frame.size() != 2)
        return refused(fault::transmission);
    const unsigned block = byte_at(frame, 1);
    if (command == halt && block == 0) {
        fall_silent();
        return card_answer::silent();
    }
    if (!session_ || classic_memory::sector_of(block) != session_->sector)
        return refused(fault::invalid_operation);
    const auto access = classic_access::of(memory_.trailer(session_->sector)); // looked at anew by each command
    if (!access || !allowed(command, block, *access))
        return refused(fault::invalid_operation);
    return on_block(command, block, *access);
}

card_answer classic_card::authenticate(std::string_view frame)
{
    if (frame.size() != 2 + classic_memory::key_size)
        return refused(fault::transmission);
    forget();
    const unsigned block = byte_at(frame, 1);
    const unsigned sector = classic_memory::sector_of(block);
    const auto key = byte_at(frame, 0) == auth_key_a ? classic_key::a : classic_key::b;
    if (block >= classic_memory::block_count || memory_.key(sector, key) != frame.substr(2) ||
        !classic_access::of(memory_.trailer(sector))) {
        fall_silent();
        return card_answer::silent();
    }
    session_ = {sector, key};
    return card_answer::acknowledge();
}

bool classic_card::allowed(std::uint8_t command, unsigned block, const classic_access& access) const
{
    const auto may = [&](trailer_part part) { return access.may_write(part, session_->key); };
    if (classic_memory::is_trailer(block)) {
        if (command == write)
            return may(trailer_part::key_a) || may(trailer_part::access_bits) || may(trailer_part::key_b);
        return command == read && access.usable(session_->key);
    }
    if (block == 0 && (command == write || command == transfer))
        return false; // the manufacturer's, whatever its access bits say
    data_use use = data_use::read;
    switch (command) {
    case read:
        break;
    case write:
        use = data_use::write;
        break;
    case increment:
        use = data_use::increment;
        break;
    case decrement:
    case restore:
    case transfer:
        use = data_use::decrement;
        break;
    default:
        return false;
    }
    return access.allows(use, block % 4, session_->key);
}

card_answer classic_card::on_block(std::uint8_t command, unsigned block, const classic_access& access)
{
    switch (command) {
    case read:
        return card_answer::of(classic_memory::is_trailer(block) ? readable_trailer(session_->sector, access)
                                                                 : memory_.block(block));
    case write:
        begun_ = {command, block, {}};
        return card_answer::acknowledge();
    case transfer:
        if (!transfer_buffer_)
            return refused(fault::invalid_operation);
        memory_.block(block) = transfer_buffer_->bytes();
        return card_answer::acknowledge();
    default:
        return value_step(command, block);
    }
}

card_answer classic_card::value_step(std::uint8_t command, unsigned block)
{
    const auto source = value_block::of(memory_.block(block));
    if (!source)
        return refused(fault::invalid_operation);
    begun_ = {command, block, *source};
    return card_answer::acknowledge();
}

card_answer classic_card::second_step(const first_step& begun, std::string_view operand)
{
    if (begun.command != write)
        return calculated(begun, operand);
    if (operand.size() != classic_memory::block_size)
        return refused(fault::transmission);
    write_block(begun.block, operand);
    return card_answer::acknowledge();
}

card_answer classic_card::calculated(const first_step& begun, std::string_view operand)
{
    if (operand.size() != 4)
        return refused(fault::transmission);
    std::int64_t number = 0; // never negative: a decrement must not become an increment
    for (std::size_t i = 0; i < 4; ++i)
        number |= std::int64_t{byte_at(operand, i)} << (8 * i);
    const std::int64_t sum = begun.source.value + (begun.command == increment   ? number
                                                   : begun.command == decrement ? -number
                                                                                : 0);
    using range = std::numeric_limits<std::int32_t>;
    if (sum < range::min() || sum > range::max())
        return refused(fault::invalid_operation);
    transfer_buffer_ = {static_cast<std::int32_t>(sum), begun.source.address};
    return card_answer::silent();
}

/** Of a trailer only the parts change that the key may write. */
void classic_card::write_block(unsigned block, std::string_view bytes)
{
    std::string& kept = memory_.block(block);
    if (!classic_memory::is_trailer(block)) {
        kept = bytes;
        return;
    }
    const auto access = classic_access::of(kept);
    const auto take = [&](trailer_part part, std::size_t from, std::size_t size) {
        if (access && access->may_write(part, session_->key))
            kept.replace(from, size, bytes.substr(from, size));
    };
    take(trailer_part::key_a, classic_memory::key_a_at, classic_memory::key_size);
    take(trailer_part::access_bits, classic_memory::access_at, classic_memory::key_b_at - classic_memory::access_at);
    take(trailer_part::key_b, classic_memory::key_b_at, classic_memory::key_size);
}

std::string classic_card::readable_trailer(unsigned sector, const classic_access& access) const
{
    std::string shown = memory_.trailer(sector);
    shown.replace(classic_memory::key_a_at, classic_memory::key_size, classic_memory::key_size, '\0');
    if (!access.key_b_readable())
        shown.replace(classic_memory::key_b_at, classic_memory::key_size, classic_memory::key_size, '\0');
    return shown;
}

} // namespace

card_ptr classic_card_of(const card_file& file)
{
    return std::make_shared<classic_card>(file);
}

} // namespace kt::terminal
