/** A contactless card as a reader meets it: what it says of itself, and what it answers. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace kt::terminal {

enum class card_family { classic, ntag21x, ultralight_ev1, ultralight_c, felica, type_a, type_b };

/** What a reader learns when it selects a card; texts hold bytes. What a card's technology lacks is empty. */
struct card_identity {
    card_family family = card_family::type_a;
    std::string uid{};      /**< 4, 7 or 10 bytes; of type B its PUPI (4), of FeliCa its IDm (8). */
    std::uint16_t atqa = 0; /**< Type A. */
    std::uint8_t sak = 0;   /**< Type A. */
    std::string ats{};      /**< Type A with ISO 14443-4: the answer to RATS, from its length byte on. */
    std::string atqb{};     /**< Type B: from its 50h on. */
    std::string attrib{};   /**< Type B: the answer to ATTRIB. */
};

/** What comes back: bytes, four bits (as the memory cards acknowledge), or nothing. */
struct card_answer {
    enum class form { bytes, bits, silence };

    static constexpr unsigned acknowledged = 0xA;

    form is = form::silence;
    std::string bytes{};
    unsigned bits = 0;

    static card_answer of(std::string bytes) { return {form::bytes, std::move(bytes), 0}; }
    static card_answer acknowledge() { return {form::bits, {}, acknowledged}; }
    static card_answer refuse(unsigned code) { return {form::bits, {}, code}; } /**< A NAK. */
    static card_answer silent() { return {}; }

    bool is_acknowledgement() const { return is == form::bits && bits == acknowledged; }
    bool operator==(const card_answer&) const = default;
};

/**
 * Frames stand as in the card's data sheet, without parity, checksum and encryption: of a memory card from its command
 * code on, of FeliCa from its length byte on. What ISO 14443-4 carries is a whole command APDU; its blocks are not
 * modelled, nor is the cipher of Mifare Classic (classic_card.h tells how its key is given).
 *
 * Until it first gets power, and once its power is gone, a card is silent.
 *
 * Threads: one at a time; only an answer may come from another.
 */
class card {
public:
    using reply = std::function<void(card_answer)>;

    card() = default;
    virtual ~card() = default;
    card(const card&) = delete;
    card& operator=(const card&) = delete;

    virtual const card_identity& identity() const = 0;

    /** Gets power, or is selected anew: what lasts no longer than the power is forgotten. */
    void power_up()
    {
        listens_ = true;
        powered();
    }

    /**
     * A frame for the selected card. Calls @p answered once: at once, or later from any thread, or (with silence) when
     * the card is used again before it has answered, from within that use. A card that is destroyed calls it no more.
     */
    void exchange(std::string_view frame, reply answered)
    {
        if (listens_)
            asked(frame, std::move(answered));
        else
            answered(card_answer::silent());
    }

    /** This frame has reached the card, and then its power went: what was to be written may be torn. */
    void lose_power_during(std::string_view frame)
    {
        if (listens_)
            torn(frame);
        fall_silent();
    }

    /** Nobody waits any more for what the card was asked last: if it has not answered yet, it answers with silence. */
    virtual void give_up() {}

    /** The card as it is now, in the form in which card files are written. */
    virtual std::string file() const = 0;

protected:
    /** Until it is selected anew: power_up(). */
    void fall_silent() { listens_ = false; }

private:
    virtual void powered() {}
    virtual void asked(std::string_view frame, reply answered) = 0;
    virtual void torn(std::string_view /*frame*/) {}

    bool listens_ = false;
};

using card_ptr = std::shared_ptr<card>;

/** Makes the card that a file describes. Throws std::invalid_argument with a sentence when there is no such card. */
card_ptr card_of_file(std::string_view text);

} // namespace kt::terminal
