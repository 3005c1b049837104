/** What a virtual payment card holds, as it stands in the card's file. Test data only: it knows no scheme's names. */
#pragma once

#include "terminal/cards/card_file.h"

#include <cstdint>
#include <map>
#include <string>

namespace kt::terminal {

/** Whether the card, or its application, has been blocked by its issuer. */
enum class payment_block { none, application, card };

/** Threads: one at a time. */
class payment_data {
public:
    /** Throws as card_file does; also when an answer would exceed the 256 bytes of a short one. */
    explicit payment_data(const card_file& file);

    void put(card_file& into) const;

    /** What SELECT gives of the directory of applications, and of the one application. */
    std::string directory_fci() const;
    std::string application_fci() const;
    /** What GET PROCESSING OPTIONS gives. */
    std::string processing_options() const;
    /** How many bytes the terminal's data must have there. */
    std::size_t asked_data() const { return asked_data_; }

    /** The records' templates, by file (SFI) and number. */
    using records = std::map<std::uint32_t, std::map<std::uint32_t, std::string>>;
    const records& files() const { return records_; }

    const std::string& aid() const { return aid_; }
    payment_block blocked() const { return blocked_; }

private:
    void read_records(const card_file& file);
    void read_holder(const card_file& file);
    std::string locator() const;

    std::string aid_;
    std::string label_;
    std::uint32_t priority_;
    std::string pdol_;
    std::string aip_;
    std::string afl_;
    std::string processing_data_;
    payment_block blocked_;
    std::string pan_{}; // these three: empty when the file lists its records itself
    std::string expires_{};
    std::string holder_{};
    std::size_t asked_data_ = 0;
    records records_{};
};

} // namespace kt::terminal
