/* A FIFO as a C application has one: the record filled in while compiling. */
#include "tests/serial/fifo_in_c.h"

static unsigned char storage[8];
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static kt_sfifo fifo = {sizeof storage, storage, storage, storage, &lock};

unsigned passed_on_by_c(const char* text, unsigned length, char* out)
{
    return kt_sfifo_get_safe(&fifo, out, kt_sfifo_put(&fifo, text, length));
}
