/** Scripts for the reader's requests, and what each function owes for an answer. */
#include "tests/nfc/scripted_reader.h"

#include <kt_driver/nfc.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kt::tests {

namespace {

constexpr int looking = 0x58; // the request by which a test looks at the record: kt_rfid_hce_close, which sets nothing
constexpr std::uint32_t most = 512;

/** What holds() says when these bytes, and perhaps a length, were written. */
std::string held(std::string_view bytes, const char* counted, std::uint32_t count)
{
    while (!bytes.empty() && bytes.back() == static_cast<char>(caller::filled)) // cannot be told from the filling
        bytes.remove_suffix(1);
    std::string text;
    if (!bytes.empty())
        text += "bytes " + hex(bytes) + ' ';
    if (counted != nullptr)
        text += counted + std::to_string(count) + ' ';
    return text.empty() ? "nothing" : text;
}

} // namespace

scripted_reader::scripted_reader()
{
    kt_rfid_init();
}

void scripted_reader::will_answer(int number, const driver_answer& how, const wire_record* record)
{
    std::string script = R"({"script":[{"request":)" + std::to_string(number);
    if (how.error != 0)
        script += std::string(R"(,"error":")") + strerrorname_np(how.error) + '"';
    else
        script += R"(,"result":)" + std::to_string(how.result);
    if (record != nullptr)
        script += R"(,"record_hex":")" + hex(record->bytes) + '"';
    (void)board.reader(script + "}]}");
}

void scripted_reader::will_answer_with_length(int number, std::uint32_t receive_length)
{
    (void)board.reader(R"({"script":[{"request":)" + std::to_string(number) + R"(,"receive_length":)" +
                       std::to_string(receive_length) + "}]}");
}

std::vector<scripted_reader::request> scripted_reader::requests()
{
    std::vector<request> seen;
    for (const terminal::event& each : board.events_of({"ioctl"}))
        if (each.path == "/dev/kt_nfc")
            seen.push_back({each.request, {each.data}});
    return seen;
}

wire_record scripted_reader::exchange_record(const wire_record& next)
{
    will_answer(looking, {}, &next);
    board.forget();
    if (kt_rfid_hce_close() != 0)
        return {"the request by which a test looks at the record failed"};
    const std::vector<request> seen = requests();
    return seen.size() == 1 ? seen.front().record : wire_record{"not one request"};
}

std::string caller::holds() const
{
    const std::string text = held({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                  length != 0xC5C5C5C5 ? "length " : nullptr, length);
    std::string rest;
    if (place != bytes.data())
        rest += "place " + hex({reinterpret_cast<const char*>(place), most}) + ' ';
    if (short_length != 0xC5C5)
        rest += "short length " + std::to_string(short_length) + ' ';
    if (rest.empty())
        return text;
    return text == "nothing" ? rest : text + rest;
}

expectation expected(const request_row& row, const operands& in, const driver_answer& how, const wire_record& answer)
{
    expectation owed = {{how.result, 0, ""}, "nothing"};
    if (row.set == emulated)
        owed.done.text = "block_cap=" + std::to_string(in.more_size) + "\n";
    if (how.error != 0) {
        const bool quiet = row.answer == gives::nothing || row.answer == gives::card_type;
        owed.done.result = quiet ? 0 : row.number == 0x01 && how.error == EROFS ? -30 : -1;
        owed.done.cause = quiet ? 0 : how.error;
        return owed;
    }
    const std::uint32_t length = answer.receive_length();
    const std::string all = answer.received();
    const bool counts = row.answer == gives::identification || row.answer == gives::bytes ||
                        row.answer == gives::packet || row.answer == gives::place;
    if (counts && length > most) {
        owed.done = failed(EINVAL, "");
        return owed;
    }
    const auto low = static_cast<std::uint8_t>(answer.bytes[wire_record::parameter_at]);
    switch (row.answer) {
    case gives::result:
        break;
    case gives::nothing:
        owed.done.result = 0;
        break;
    case gives::card_type:
    case gives::low_byte:
        owed.done.result = low;
        break;
    case gives::uid:
        owed = {{static_cast<int>(std::min(length, 16U)), 0, ""},
                held(all.substr(0, std::min(length, 16U)), nullptr, 0)};
        break;
    case gives::identification:
        owed = {{static_cast<int>(length), 0, ""}, held(all.substr(0, length), nullptr, 0)};
        break;
    case gives::number:
        owed.done.result = static_cast<std::uint8_t>(all[0]) + 256 * static_cast<std::uint8_t>(all[1]);
        break;
    case gives::block:
        owed.held = held(all.substr(0, 16), "length ", 16);
        break;
    case gives::bytes:
        owed.held = held(all.substr(0, length), "length ", length);
        break;
    case gives::packet:
        owed.held = held(all.substr(0, length), "short length ", length);
        break;
    case gives::place:
        owed.held = "place " + hex(all) + " short length " + std::to_string(length) + ' ';
        break;
    }
    return owed;
}

outcome outcome_of(const request_row& row, const operands& in, const outputs& out)
{
    return outcome_of([&] { return row.call(in, out); });
}

} // namespace kt::tests
