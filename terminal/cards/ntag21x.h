/** NTAG213, 215 and 216: tags for NDEF messages that count how often they are read. */
#pragma once

#include "terminal/cards/password_card.h"

namespace kt::terminal {

/** Sizes and contents in which the kinds differ; ntag21x.cpp has a row for each. */
struct ntag21x_kind;

/**
 * The counter is 2, the only one. It is read while it is enabled (NFC_CNT_EN), and goes up by the first READ or
 * FAST_READ that is answered after a power_up().
 */
class ntag21x : public password_card {
public:
    /** @p file describes one of the three kinds. */
    explicit ntag21x(const card_file& file);

protected:
    std::string page_as_read(unsigned page) const override;
    card_answer own_command(std::string_view frame) override;
    void reading() override;
    void powered() override;
    void describe(card_file& into) const override;

private:
    ntag21x(const card_file& file, const ntag21x_kind& kind);
    std::string mirrored() const;
    bool counter_readable() const;

    unsigned last_user_page_;
    std::uint32_t counter_;
    bool counted_ = false;
};

} // namespace kt::terminal
