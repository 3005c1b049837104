// A ring of bytes in storage of the application's.
#include "kt_driver/fifo.h"

#include "base/failure.h"
#include "serial/short_copy.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

/** Refuses a call whose result is a count; by a call, so that the others need no register for it. */
__attribute__((noinline)) unsigned none(int cause)
{
    (void)kt::refuse(cause);
    return 0;
}

/** Both positions, counted from the storage's first byte. One before it is, without a sign, far behind its end. */
struct ring {
    explicit ring(const kt_sfifo& fifo)
        : size(fifo.size),
          read(address(fifo.read_pos) - address(fifo.buffer)),
          write(address(fifo.write_pos) - address(fifo.buffer))
    {
    }

    static std::uintptr_t address(const std::uint8_t* byte) { return reinterpret_cast<std::uintptr_t>(byte); }

    bool wrapped() const { return write < read; }
    bool valid() const { return (wrapped() ? read : write) < size; }

    // No sum is above the size, which may take all bits of an address.
    unsigned held() const { return static_cast<unsigned>(wrapped() ? size - (read - write) : write - read); }
    unsigned space() const { return size - 1 - held(); }

    /** Whether the ring is valid, and so many bytes can be put in one piece that ends before the storage does. */
    bool takes_one_piece(std::uintptr_t count) const
    {
        return wrapped() ? read < size && count < read - write : write < size && count < size - write;
    }

    /** The same of taking. */
    bool gives_one_piece(std::uintptr_t count) const
    {
        return wrapped() ? read < size && count < size - read : write < size && count <= write - read;
    }

    std::uint32_t size;
    std::uintptr_t read;
    std::uintptr_t write;
};

bool valid(const kt_sfifo* fifo)
{
    return fifo != nullptr && fifo->buffer != nullptr && ring(*fifo).valid();
}

// Nearly every call moves one short piece. What else there is stands apart: it would cost that call registers to save.

/** What is left to kt_sfifo_put() when one piece is too long to copy without a call. */
__attribute__((noinline)) unsigned put_one_piece(kt_sfifo* fifo, const std::uint8_t* src, unsigned count)
{
    fifo->write_pos = static_cast<std::uint8_t*>(std::memcpy(fifo->write_pos, src, count)) + count;
    return count;
}

/** The same for kt_sfifo_get(). */
__attribute__((noinline)) unsigned get_one_piece(kt_sfifo* fifo, std::uint8_t* dst, unsigned count)
{
    std::uint8_t* const from = fifo->read_pos;
    std::memcpy(dst, from, count);
    fifo->read_pos = from + count;
    return count;
}

/** All that kt_sfifo_put() can meet. */
__attribute__((noinline)) unsigned put_in_pieces(kt_sfifo* fifo, const std::uint8_t* src, unsigned count)
{
    if (!valid(fifo) || (src == nullptr && count > 0))
        return none(EINVAL);
    const ring at(*fifo);
    const unsigned taken = std::min(at.space(), count);
    if (taken == 0)
        return 0;
    const auto tail = static_cast<unsigned>(at.size - at.write);
    const unsigned first = std::min(tail, taken);
    std::memcpy(fifo->write_pos, src, first);
    if (first < taken)
        std::memcpy(fifo->buffer, src + first, taken - first);
    fifo->write_pos = taken < tail ? fifo->write_pos + taken : fifo->buffer + (taken - first);
    return taken;
}

/** All that kt_sfifo_get() can meet. */
__attribute__((noinline)) unsigned get_in_pieces(kt_sfifo* fifo, std::uint8_t* dst, unsigned count)
{
    if (!valid(fifo) || (dst == nullptr && count > 0))
        return none(EINVAL);
    const ring at(*fifo);
    const unsigned taken = std::min(at.held(), count);
    if (taken == 0)
        return 0;
    const auto tail = static_cast<unsigned>(at.size - at.read);
    const unsigned first = std::min(tail, taken);
    std::memcpy(dst, fifo->read_pos, first);
    if (first < taken)
        std::memcpy(dst + first, fifo->buffer, taken - first);
    fifo->read_pos = taken < tail ? fifo->read_pos + taken : fifo->buffer + (taken - first);
    return taken;
}

unsigned space_avail(const kt_sfifo* fifo)
{
    return valid(fifo) ? ring(*fifo).space() : none(EINVAL);
}

unsigned data_avail(const kt_sfifo* fifo)
{
    return valid(fifo) ? ring(*fifo).held() : none(EINVAL);
}

inline unsigned put(kt_sfifo* fifo, const std::uint8_t* from, unsigned count)
{
    if (from == nullptr || fifo == nullptr || fifo->buffer == nullptr || !ring(*fifo).takes_one_piece(count))
        return put_in_pieces(fifo, from, count);
    std::uint8_t* const to = fifo->write_pos;
    if (!kt::copied_short(to, from, count))
        return put_one_piece(fifo, from, count);
    fifo->write_pos = to + count;
    return count;
}

inline unsigned get(kt_sfifo* fifo, std::uint8_t* to, unsigned count)
{
    if (to == nullptr || fifo == nullptr || fifo->buffer == nullptr || !ring(*fifo).gives_one_piece(count))
        return get_in_pieces(fifo, to, count);
    std::uint8_t* const from = fifo->read_pos;
    if (!kt::copied_short(to, from, count))
        return get_one_piece(fifo, to, count);
    fifo->read_pos = from + count;
    return count;
}

int reset(kt_sfifo* fifo)
{
    if (!valid(fifo))
        return kt::refuse(EINVAL);
    fifo->read_pos = fifo->write_pos;
    return 0;
}

const std::uint8_t* bytes(const void* memory)
{
    return static_cast<const std::uint8_t*>(memory);
}

std::uint8_t* bytes(void* memory)
{
    return static_cast<std::uint8_t*>(memory);
}

/** Makes a plain operation under the record's lock. */
template <typename Refuse, typename Plain>
auto locked(const kt_sfifo* fifo, Refuse refuse, Plain plain)
{
    if (fifo == nullptr || fifo->lock == nullptr)
        return refuse(EINVAL);
    const int cause = pthread_mutex_lock(fifo->lock);
    if (cause != 0 && cause != EOWNERDEAD) // after the owner's death it is locked all the same
        return refuse(cause);
    const auto result = plain();
    (void)pthread_mutex_unlock(fifo->lock);
    return result;
}

} // namespace

unsigned kt_sfifo_space_avail(const kt_sfifo* fifo)
{
    return space_avail(fifo);
}

unsigned kt_sfifo_data_avail(const kt_sfifo* fifo)
{
    return data_avail(fifo);
}

unsigned kt_sfifo_put(kt_sfifo* fifo, const void* src, unsigned count)
{
    return put(fifo, bytes(src), count);
}

unsigned kt_sfifo_get(kt_sfifo* fifo, void* dst, unsigned count)
{
    return get(fifo, bytes(dst), count);
}

int kt_sfifo_reset(kt_sfifo* fifo)
{
    return reset(fifo);
}

unsigned kt_sfifo_space_avail_safe(const kt_sfifo* fifo)
{
    return locked(fifo, none, [=] { return space_avail(fifo); });
}

unsigned kt_sfifo_data_avail_safe(const kt_sfifo* fifo)
{
    return locked(fifo, none, [=] { return data_avail(fifo); });
}

unsigned kt_sfifo_put_safe(kt_sfifo* fifo, const void* src, unsigned count)
{
    return locked(fifo, none, [=] { return put(fifo, bytes(src), count); });
}

unsigned kt_sfifo_get_safe(kt_sfifo* fifo, void* dst, unsigned count)
{
    return locked(fifo, none, [=] { return get(fifo, bytes(dst), count); });
}

int kt_sfifo_reset_safe(kt_sfifo* fifo)
{
    return locked(fifo, kt::refuse, [=] { return reset(fifo); });
}
