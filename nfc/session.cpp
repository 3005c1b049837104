// Opening the reader, finding a card, what it says of itself, and the field.
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
    const int result = read_into(what, out, &length);
    return result < 0 ? result : static_cast<int>(length);
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
    std::memmove(uid, record.receive, length);
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
