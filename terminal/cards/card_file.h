/** A card's file, read and written: a JSON object of texts, numbers and bytes in hexadecimal. Comments are allowed. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** Readers throw std::invalid_argument with a sentence for a value that does not fit, and note who was asked for. */
class card_file {
public:
    card_file();
    explicit card_file(std::string_view text);
    ~card_file();
    card_file(card_file&&) noexcept;
    card_file& operator=(card_file&&) noexcept;

    bool has(const std::string& name) const;

    std::string text(const std::string& name, const std::string& absent) const;
    std::uint32_t number(const std::string& name, std::uint32_t absent, std::uint32_t most) const;
    bool flag(const std::string& name, bool absent) const;

    /** Pairs of hexadecimal digits, blanks between them allowed. */
    std::optional<std::string> bytes(const std::string& name) const;
    /** Exactly as many bytes as @p absent has. */
    std::string bytes_like(const std::string& name, const std::string& absent) const;
    /** An object of numbered blocks, {"4": "01020304"}, of this size each; numbers below @p count. */
    std::map<std::uint32_t, std::string> blocks(const std::string& name, std::size_t size, std::uint32_t count) const;
    /** An object of numbers, {"0": 17}; keys below @p count, values up to @p most. */
    std::map<std::uint32_t, std::uint32_t> numbers(const std::string& name, std::uint32_t count,
                                                   std::uint32_t most) const;
    /** A list of objects; empty when it is absent. */
    std::vector<card_file> list(const std::string& name) const;

    /** Refuses what nobody has asked for: a misspelt name is not passed over. */
    void all_known() const;

    /** How every card's file begins: its kind, and its name if it has one. */
    card_file& put_head(const std::string& kind, const std::string& name);
    card_file& put(const std::string& name, const std::string& text);
    card_file& put_number(const std::string& name, std::uint32_t value);
    card_file& put_flag(const std::string& name, bool value);
    card_file& put_bytes(const std::string& name, std::string_view bytes);
    card_file& put_blocks(const std::string& name, const std::map<std::uint32_t, std::string>& blocks);
    card_file& put_numbers(const std::string& name, const std::map<std::uint32_t, std::uint32_t>& numbers);
    card_file& put_list(const std::string& name, const std::vector<card_file>& items);

    /** As a file's text, indented. */
    std::string written() const;

private:
    struct content;
    explicit card_file(std::unique_ptr<content> held);
    std::unique_ptr<content> content_;
};

} // namespace kt::terminal
