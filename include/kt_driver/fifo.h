/**
 * @file
 * @brief Ring buffer that stages serial traffic between a reader and a writer.
 */
#ifndef KT_DRIVER_FIFO_H
#define KT_DRIVER_FIFO_H

#include <kt_driver/api.h>
#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup fifo FIFO
 * @brief Bytes come out in the order in which they went in; no call waits for data or for space.
 *
 * The application owns the record, the storage and the mutex, and fills the record in:
 * @code
 * static unsigned char storage[1024];
 * static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
 * static kt_sfifo fifo = {sizeof storage, storage, storage, storage, &lock};
 * @endcode
 * One byte of the storage always stays unused, so that equal positions mean empty: a FIFO holds at most @c size - 1
 * bytes, one of size 1 none.
 *
 * - A record is refused with EINVAL when it is null, its size is 0, its @c buffer is null, or one of its positions is
 *   not in the storage. A refused call changes nothing; counts are then 0, the result of a reset is -1.
 * - The functions whose name ends in "_safe" hold the record's @c lock around the function without it, and report what
 *   that one does. A null @c lock is refused with EINVAL; a mutex that cannot be locked, with the cause that
 *   pthread_mutex_lock(3) gives, for example EDEADLK. A robust mutex whose owner died is locked, and not made
 *   consistent: later calls then fail with ENOTRECOVERABLE.
 * - Threads: the functions without "_safe" one at a time on each FIFO; those with it any.
 * @{
 */

/** A FIFO. Between calls the application may read all of it. */
typedef struct kt_sfifo {
    uint32_t size;         /**< bytes in the storage, at least 1 */
    uint8_t *buffer;       /**< first byte of the storage */
    uint8_t *read_pos;     /**< next byte to be taken, @c buffer to @c buffer + @c size - 1 */
    uint8_t *write_pos;    /**< where the next byte goes, in the same range */
    pthread_mutex_t *lock; /**< for the functions ending in "_safe"; initialised by the application */
} kt_sfifo;

/** @brief The free space. @return 0 to @c size - 1, in bytes; 0 also when refused. @errno EINVAL see @ref fifo */
KT_API unsigned kt_sfifo_space_avail(const kt_sfifo *fifo);

/** @brief What is held. @return 0 to @c size - 1, in bytes; 0 also when refused. @errno EINVAL see @ref fifo */
KT_API unsigned kt_sfifo_data_avail(const kt_sfifo *fifo);

/**
 * @brief Put bytes in, as many as there is space for.
 *
 * @param fifo   The FIFO; @c write_pos moves on, and from the storage's end to @c buffer.
 * @param src    @p count bytes, outside the storage.
 * @param count  In bytes, may be 0.
 * @return 0 to @p count: how many bytes were taken from @p src; 0 also when refused.
 * @errno EINVAL  see @ref fifo, or @p src is null and @p count is not 0
 */
KT_API unsigned kt_sfifo_put(kt_sfifo *fifo, const void *src, unsigned count);

/**
 * @brief Take bytes out, as many as there are.
 *
 * @param      fifo   The FIFO; @c read_pos moves on, and from the storage's end to @c buffer.
 * @param[out] dst    Room for @p count bytes, outside the storage; what lies behind the bytes taken is untouched.
 * @param      count  In bytes, may be 0.
 * @return 0 to @p count: how many bytes are now in @p dst; 0 also when refused.
 * @errno EINVAL  see @ref fifo, or @p dst is null and @p count is not 0
 */
KT_API unsigned kt_sfifo_get(kt_sfifo *fifo, void *dst, unsigned count);

/**
 * @brief Discard what is held: @c read_pos becomes @c write_pos, which stays where it is.
 * @return 0; -1: refused.
 * @errno EINVAL  see @ref fifo
 */
KT_API int kt_sfifo_reset(kt_sfifo *fifo);

/** @brief kt_sfifo_space_avail() under the record's lock, see @ref fifo. */
KT_API unsigned kt_sfifo_space_avail_safe(const kt_sfifo *fifo);

/** @brief kt_sfifo_data_avail() under the record's lock, see @ref fifo. */
KT_API unsigned kt_sfifo_data_avail_safe(const kt_sfifo *fifo);

/** @brief kt_sfifo_put() under the record's lock, see @ref fifo. */
KT_API unsigned kt_sfifo_put_safe(kt_sfifo *fifo, const void *src, unsigned count);

/** @brief kt_sfifo_get() under the record's lock, see @ref fifo. */
KT_API unsigned kt_sfifo_get_safe(kt_sfifo *fifo, void *dst, unsigned count);

/** @brief kt_sfifo_reset() under the record's lock, see @ref fifo. */
KT_API int kt_sfifo_reset_safe(kt_sfifo *fifo);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
