/** What all memory cards with pages of four bytes have in common: reading, writing and the protected pages. */
#pragma once

#include "terminal/cards/card.h"
#include "terminal/cards/card_bytes.h"
#include "terminal/cards/card_file.h"
#include "terminal/cards/page_memory.h"

#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** The codes of the answers that refuse, as the data sheets number them. */
struct page_card_refusal {
    static constexpr unsigned invalid = 0;  /**< An argument or a command. */
    static constexpr unsigned overflow = 4; /**< Of a counter, or of the failed attempts with a password. */
};

/**
 * A card that has refused falls back to idle, as one that was halted: it is silent until it is selected again by
 * power_up(), and what was authenticated is forgotten. A command that is unknown or of another length is refused as
 * invalid; for a wrong checksum or parity there is no place in these frames.
 */
class page_card : public card {
public:
    const card_identity& identity() const override { return identity_; }
    std::string file() const override;

protected:
    /** The file's "memory" holds the pages below @p secret_from alone: the others have names of their own. */
    page_card(card_family family, const card_file& file, unsigned pages, unsigned secret_from);

    /** Pages that want authentication: from which on, and whether for reading too. */
    struct protection {
        unsigned first;
        bool reads;
    };
    virtual protection protected_pages() const = 0;
    /** Pages that can be read at all, once authenticated. */
    virtual unsigned readable_pages() const { return memory_.count(); }
    virtual bool writable(unsigned page) const;
    virtual std::string page_as_read(unsigned page) const { return memory_.bytes(page); }
    /** A page that is writable() is written. */
    virtual card_answer store(unsigned page, std::string_view bytes);
    /** A READ or its like is about to be answered with data. */
    virtual void reading() {}
    virtual card_answer answer_to(std::string_view frame);
    /** A command that is not common to all these cards. */
    virtual card_answer own_command(std::string_view frame);
    /** What lasts no longer than the selection is forgotten. */
    void powered() override;
    /** A command that would have been carried out as such lost its power; a page keeps what it held. */
    virtual void torn_command(std::string_view /*frame*/) {}
    virtual void describe(card_file& into) const = 0;

    /** Takes "memory" from the file. Called by the family once the kinds of its pages are set. */
    void fill(const card_file& file);
    /** The first page that cannot be read now. */
    unsigned readable_end() const;
    bool authenticated() const { return authenticated_; }
    void authenticate() { authenticated_ = true; }
    page_memory& memory() { return memory_; }
    const page_memory& memory() const { return memory_; }

private:
    void asked(std::string_view frame, reply answered) override;
    void torn(std::string_view frame) override;
    card_answer read(unsigned page);
    card_answer write(unsigned page, std::string_view bytes);

    std::string kind_;
    std::string name_;
    card_identity identity_;
    page_memory memory_;
    unsigned secret_from_;

    bool authenticated_ = false;
    std::optional<unsigned> to_write_; // a COMPATIBILITY WRITE waits for its sixteen bytes
};

} // namespace kt::terminal
