/* What a test has C do with a FIFO. */
#ifndef KT_TESTS_SERIAL_FIFO_IN_C_H
#define KT_TESTS_SERIAL_FIFO_IN_C_H

#include <kt_driver/fifo.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Puts a text into a FIFO of size 8 and takes it out again; the result is how many bytes came out. */
unsigned passed_on_by_c(const char* text, unsigned length, char* out);

#ifdef __cplusplus
}
#endif

#endif
