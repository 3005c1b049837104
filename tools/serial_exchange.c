/* Opens the link to the secure processor, sends a line, and prints the answer. */
#include <errno.h>
#include <kt_driver/serial.h>
#include <stdio.h>
#include <string.h>

enum { secure_processor = 26 };

int main(void)
{
    static const char question[] = "VERSION?\r\n";
    char answer[64] = "";
    size_t length = 0;

    if (kt_serial_open(secure_processor, 115200, KT_SERIAL_8_DATA_BITS, KT_SERIAL_1_STOP_BIT, KT_SERIAL_NO_PARITY) <
        0) {
        perror("port 26");
        return 1;
    }
    if (kt_serial_write(secure_processor, question, sizeof question - 1) < 0) {
        perror("port 26");
        return 1;
    }
    /* A read gives what is there, which may be less than a line. */
    while (strchr(answer, '\n') == NULL && length < sizeof answer - 1) {
        const int got = kt_serial_read(secure_processor, answer + length, (unsigned)(sizeof answer - 1 - length), 3000);
        if (got <= 0) {
            printf("no answer: %s\n", got == 0 ? "the other side hung up" : strerror(errno));
            return 1;
        }
        length += (size_t)got;
        answer[length] = '\0';
    }
    printf("The secure processor says: %s", answer);
    return kt_serial_close(secure_processor) < 0;
}
