/* Waits for a contactless card, and prints its type, its UID and what can be read of it without a secret. */
#define _POSIX_C_SOURCE 200809L /* nanosleep */

#include <errno.h>
#include <kt_driver/nfc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { most_received = 512 };

static void print_bytes(const char* label, const uint8_t* bytes, unsigned length)
{
    unsigned at;
    printf("  %-10s", label);
    for (at = 0; at < length; ++at)
        printf("%s%02X", at == 0 ? "" : " ", bytes[at]);
    printf("\n");
}

/* What did not come; errno is the driver's. */
static int failed(const char* what)
{
    printf("  %-10s%s\n", what, strerror(errno));
    return -1;
}

static int read_pages(int (*read_from)(uint32_t page, uint8_t* out, uint32_t* len))
{
    enum { last_page = 15, pages_at_once = 4 };
    uint8_t bytes[most_received];
    uint32_t length;
    unsigned page;
    for (page = 0; page <= last_page; page += pages_at_once) {
        char label[16];
        snprintf(label, sizeof label, "Page %u", page);
        if (read_from(page, bytes, &length) < 0)
            return page == 0 ? failed(label) : 0; /* the rest wants a password or a key */
        print_bytes(label, bytes, length);
    }
    return 0;
}

static int read_ntag21x(void)
{
    return kt_rfid_ntag21x_open() < 0 ? failed("Open") : read_pages(kt_rfid_ntag21x_read);
}

static int read_ultralight_ev1(void)
{
    return kt_rfid_mful_ev1_open() < 0 ? failed("Open") : read_pages(kt_rfid_mful_ev1_read);
}

static int read_ultralight_c(void)
{
    return kt_rfid_mful_c_open() < 0 ? failed("Open") : read_pages(kt_rfid_mful_c_read);
}

/* A block of the first sector, with the key that a new card has. */
static int read_classic(void)
{
    enum { key_a = 0x60, block = 1 };
    static const uint8_t transport_key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    uint8_t bytes[16];
    uint32_t length;
    if (kt_rfid_mfcl_open() < 0)
        return failed("Open");
    (void)kt_rfid_mfcl_setkey(transport_key);
    if (kt_rfid_mfcl_auth(key_a, block) < 0)
        return failed("Key");
    if (kt_rfid_mfcl_read(block, bytes, &length) < 0)
        return failed("Block 1");
    print_bytes("Block 1", bytes, length);
    return 0;
}

/* Which payment applications the card has, if it has any: the status word at the end tells. */
static int read_iso14443_4(void)
{
    static const uint8_t select_ppse[] = {0x00, 0xA4, 0x04, 0x00, 14,  '2', 'P', 'A', 'Y', '.',
                                          'S',  'Y',  'S',  '.',  'D', 'D', 'F', '0', '1', 0x00};
    uint8_t* answer;
    uint16_t length;
    if (kt_rfid_tcl_open() < 0)
        return failed("Open");
    if (kt_rfid_tcl_exchange(select_ppse, sizeof select_ppse, &answer, &length) < 0)
        return failed("PPSE");
    print_bytes("PPSE", answer, length);
    (void)kt_rfid_tcl_close();
    return 0;
}

/* Its IDm, its PMm, and the code of its system. */
static int read_felica(void)
{
    static const uint8_t polling[] = {6, 0x00, 0xFF, 0xFF, 0x01, 0x00};
    uint8_t bytes[most_received];
    uint16_t length;
    if (kt_rfid_felica_open() < 0)
        return failed("Open");
    if (kt_rfid_felica_exchange(polling, sizeof polling, bytes, &length, 0) < 0)
        return failed("Polling");
    print_bytes("Polling", bytes, length);
    return 0;
}

static const struct {
    const char* name;
    int (*read)(void);
} families[] = {
    {"unknown", NULL},
    {"ISO 14443-4 type A", read_iso14443_4},
    {"ISO 14443-4 type B", read_iso14443_4},
    {"Mifare Classic", read_classic},
    {"NTAG21x", read_ntag21x},
    {"Mifare Ultralight EV1", read_ultralight_ev1},
    {"Mifare Ultralight C", read_ultralight_c},
    {"FeliCa", read_felica},
};

/* What the card says of itself; what its technology does not have is left out. */
static void print_identity(void)
{
    uint8_t bytes[most_received];
    const int sak = kt_rfid_get_sak();
    int length = kt_rfid_getuid(bytes);
    if (length >= 0)
        print_bytes("UID", bytes, (unsigned)length);
    length = kt_rfid_get_atqa(bytes);
    if (length >= 0)
        print_bytes("ATQA", bytes, (unsigned)length);
    if (sak >= 0)
        printf("  %-10s%02X\n", "SAK", (unsigned)sak);
    length = kt_rfid_get_rats(bytes);
    if (length >= 0)
        print_bytes("ATS", bytes, (unsigned)length);
    length = kt_rfid_get_atqb(bytes);
    if (length >= 0)
        print_bytes("ATQB", bytes, (unsigned)length);
}

/* The type of the card that comes, 0 if none does. */
static int wait_for_card(long seconds)
{
    static const struct timespec between = {0, 50L * 1000 * 1000};
    const time_t end = time(NULL) + seconds;
    int several = 0;
    do {
        const int type = kt_rfid_probe();
        if (type != 0)
            return type;
        if (errno == EBADF) /* there is no reader */
            return 0;
        if (errno == ENOTUNIQ && !several)
            printf("More than one card: take the others away\n");
        several = errno == ENOTUNIQ;
        fflush(stdout);
        nanosleep(&between, NULL);
    } while (time(NULL) <= end);
    return 0;
}

int main(int argc, char** argv)
{
    const long seconds = argc > 1 ? atol(argv[1]) : 10;
    int type;
    kt_rfid_init();
    printf("Tap a card\n");
    fflush(stdout);
    type = wait_for_card(seconds);
    if (type == 0) {
        printf("No card came\n");
        return 1;
    }
    if (type >= (int)(sizeof families / sizeof families[0]))
        type = 0;
    printf("Card: %s\n", families[type].name);
    print_identity();
    if (families[type].read != NULL && families[type].read() < 0)
        return 1;
    kt_rfid_fini();
    return 0;
}
