// The reader's session, and what concerns cards of every family.
#include "kt_driver/nfc.h"
#include "nfc/reader.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

using namespace kt::nfc;

namespace {

/** The low byte of the parameter, in which the driver leaves a single number. */
std::uint8_t number_found()
{
    return static_cast<std::uint8_t>(record.parameter);
}

/** All that was received; how much that is. */
int identification(request what, std::uint8_t* out)
{
    std::uint32_t length = 0;
    const int result = read(what, out, &length);
    return result < 0 ? result : static_cast<int>(length);
}

int exchange(request what, const std::uint8_t* apdu, std::uint32_t len, std::uint8_t** resp, std::uint16_t* resp_len)
{
    if (!fits(apdu, len) || resp == nullptr || resp_len == nullptr)
        return kt::refuse(EINVAL);
    put(apdu, len);
    record.transmit_length = len;
    const int result = issue(what);
    if (result < 0)
        return result;
    if (!received())
        return -1;
    *resp = record.receive;
    *resp_len = static_cast<std::uint16_t>(record.receive_length);
    return result;
}

} // namespace

int kt_rfid_init(void)
{
    (void)kt_rfid_fini();
    device = open("/dev/kt_nfc", O_RDWR | O_CLOEXEC); // commands that the library runs have no use for a card
    if (device < 0) {
        const kt::errno_keeper keeper;
        (void)std::puts("nfc dev open error");
    }
    return 0;
}

int kt_rfid_fini(void)
{
    if (device > 0)
        (void)close(device);
    device = -1;
    return 0;
}

int kt_rfid_probe(void)
{
    return issue(request::probe) < 0 ? 0 : number_found();
}

int kt_rfid_get_sak(void)
{
    const int result = issue(request::get_sak);
    return result < 0 ? result : number_found();
}

int kt_rfid_getuid(uint8_t* uid)
{
    constexpr std::uint32_t most = 16;
    if (uid == nullptr)
        return kt::refuse(EINVAL);
    const int result = issue(request::getuid);
    if (result < 0)
        return result;
    const std::uint32_t length = std::min(record.receive_length, most);
    std::memcpy(uid, record.receive, length);
    return static_cast<int>(length);
}

int kt_rfid_get_atqa(uint8_t* out)
{
    return identification(request::get_atqa, out);
}

int kt_rfid_get_atqb(uint8_t* out)
{
    return identification(request::get_atqb, out);
}

int kt_rfid_get_rats(uint8_t* out)
{
    return identification(request::get_rats, out);
}

int kt_rfid_get_attrib(uint8_t* out)
{
    return identification(request::get_attrib, out);
}

int kt_rfid_typeA_config(uint32_t a, uint32_t b)
{
    record.receive_length = a;
    record.transmit_length = b;
    return issue(request::type_a_config);
}

int kt_rfid_typeB_config(uint32_t a, uint32_t b, uint32_t c)
{
    record.receive_length = a;
    record.transmit_length = b;
    return issue_with(request::type_b_config, c);
}

int kt_rfid_setpower(uint32_t level)
{
    return issue_with(request::setpower, level);
}

int kt_rfid_tcl_open(void)
{
    if (device < 0) {
        (void)std::printf("%s nfc fd error\n", __func__);
        return kt::refuse(EBADF);
    }
    constexpr int read_only = -30; // its own number, also where EROFS has another
    const int result = issue(request::tcl_open);
    return result < 0 && errno == EROFS ? read_only : result;
}

int kt_rfid_tcl_close(void)
{
    return issue_ignored(request::tcl_close);
}

int kt_rfid_tcl_exchange(const uint8_t* apdu, uint32_t len, uint8_t** resp, uint16_t* resp_len)
{
    return exchange(request::tcl_exchange, apdu, len, resp, resp_len);
}

int kt_rfid_rid_open(void)
{
    return issue(request::rid_open);
}

int kt_rfid_rid_close(void)
{
    return issue(request::rid_close);
}

int kt_rfid_rid_exchange(const uint8_t* apdu, uint32_t len, uint8_t** resp, uint16_t* resp_len)
{
    return exchange(request::rid_exchange, apdu, len, resp, resp_len);
}

int kt_rfid_getatr(void)
{
    return 0;
}

int kt_rfid_gettype(void)
{
    return 0;
}

int kt_rfid_hal_config(void)
{
    return 0;
}
