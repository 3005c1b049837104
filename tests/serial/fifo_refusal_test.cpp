/** Records and pointers that a FIFO refuses: nothing is touched. */
#include <kt_driver/fifo.h>

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

namespace {

std::uint8_t storage[16] = "0123456789abcde";
std::uint8_t* const below = storage + 3; // a storage in the middle of the memory, so that there is something outside
constexpr std::uint32_t size = 8;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

struct row {
    const char* what;
    kt_sfifo fifo;
};

const row refused[] = {
    {"a size of 0", {0, below, below, below, &mutex}},
    {"no storage", {size, nullptr, below, below, &mutex}},
    {"no storage, and positions in none", {size, nullptr, nullptr, nullptr, &mutex}},
    {"no read position", {size, below, nullptr, below, &mutex}},
    {"no write position", {size, below, below, nullptr, &mutex}},
    {"a read position before the storage", {size, below, below - 1, below, &mutex}},
    {"a write position before the storage", {size, below, below, below - 1, &mutex}},
    {"both positions before the storage", {size, below, below - 2, below - 1, &mutex}},
    {"a read position at the storage's end", {size, below, below + size, below, &mutex}},
    {"a write position at the storage's end", {size, below, below, below + size, &mutex}},
    {"both positions at the storage's end", {size, below, below + size, below + size, &mutex}},
    {"positions on both sides of the storage", {size, below, below - 1, below + size, &mutex}},
    {"positions on the other sides of the storage", {size, below, below + size, below - 1, &mutex}},
};

template <typename Result, typename Call>
void expect_einval(const char* what, Result expected, Call call)
{
    errno = 0;
    EXPECT_EQ(call(), expected) << what;
    EXPECT_EQ(errno, EINVAL) << what;
}

/** Every function on one record, of which nothing may change. */
void expect_all_refused(const char* what, kt_sfifo* fifo)
{
    const kt_sfifo before = fifo != nullptr ? *fifo : kt_sfifo();
    char bytes[64] = "untouched";

    for (const unsigned count : {0u, 2u, 64u}) { // a short piece, and one that is not
        expect_einval(what, 0u, [&] { return kt_sfifo_put(fifo, bytes, count); });
        expect_einval(what, 0u, [&] { return kt_sfifo_get(fifo, bytes, count); });
        expect_einval(what, 0u, [&] { return kt_sfifo_put_safe(fifo, bytes, count); });
        expect_einval(what, 0u, [&] { return kt_sfifo_get_safe(fifo, bytes, count); });
    }
    expect_einval(what, 0u, [&] { return kt_sfifo_space_avail(fifo); });
    expect_einval(what, 0u, [&] { return kt_sfifo_data_avail(fifo); });
    expect_einval(what, -1, [&] { return kt_sfifo_reset(fifo); });
    expect_einval(what, 0u, [&] { return kt_sfifo_space_avail_safe(fifo); });
    expect_einval(what, 0u, [&] { return kt_sfifo_data_avail_safe(fifo); });
    expect_einval(what, -1, [&] { return kt_sfifo_reset_safe(fifo); });

    EXPECT_STREQ(bytes, "untouched") << what;
    EXPECT_STREQ(reinterpret_cast<const char*>(storage), "0123456789abcde") << what;
    if (fifo != nullptr) {
        EXPECT_EQ(std::memcmp(fifo, &before, sizeof before), 0) << what;
    }
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0) << what << ": still locked";
    pthread_mutex_unlock(&mutex);
}

} // namespace

TEST(FifoRefusal, OfRecordsThatWouldLetItReachOutsideTheStorage)
{
    for (const row& each : refused) {
        kt_sfifo fifo;
        std::memcpy(&fifo, &each.fifo, sizeof fifo);
        expect_all_refused(each.what, &fifo);
    }
}

TEST(FifoRefusal, OfNoRecord)
{
    expect_all_refused("no record", nullptr);
}

TEST(FifoRefusal, OfNoSourceAndNoDestination)
{
    kt_sfifo fifo = {size, below, below + 1, below + 4, &mutex};
    for (const unsigned count : {1u, 64u}) {
        expect_einval("no source", 0u, [&] { return kt_sfifo_put(&fifo, nullptr, count); });
        expect_einval("no source", 0u, [&] { return kt_sfifo_put_safe(&fifo, nullptr, count); });
        expect_einval("no destination", 0u, [&] { return kt_sfifo_get(&fifo, nullptr, count); });
        expect_einval("no destination", 0u, [&] { return kt_sfifo_get_safe(&fifo, nullptr, count); });
    }
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 3u);

    errno = 0; // nothing is asked for
    EXPECT_EQ(kt_sfifo_put(&fifo, nullptr, 0), 0u);
    EXPECT_EQ(kt_sfifo_get(&fifo, nullptr, 0), 0u);
    EXPECT_EQ(errno, 0);
}

TEST(FifoRefusal, OfNoLock)
{
    kt_sfifo fifo = {size, below, below + 1, below + 4, nullptr};
    char byte = '?';
    expect_einval("put", 0u, [&] { return kt_sfifo_put_safe(&fifo, &byte, 1); });
    expect_einval("get", 0u, [&] { return kt_sfifo_get_safe(&fifo, &byte, 1); });
    expect_einval("space", 0u, [&] { return kt_sfifo_space_avail_safe(&fifo); });
    expect_einval("data", 0u, [&] { return kt_sfifo_data_avail_safe(&fifo); });
    expect_einval("reset", -1, [&] { return kt_sfifo_reset_safe(&fifo); });
    EXPECT_EQ(byte, '?');
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 3u) << "the plain functions need no lock";
}

TEST(FifoRefusal, OfALockThatItsOwnThreadHolds)
{
    pthread_mutexattr_t checking;
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t held;
    pthread_mutex_init(&held, &checking);
    pthread_mutex_lock(&held);
    kt_sfifo fifo = {size, below, below + 1, below + 4, &held};

    errno = 0;
    EXPECT_EQ(kt_sfifo_data_avail_safe(&fifo), 0u);
    EXPECT_EQ(errno, EDEADLK);
    errno = 0;
    EXPECT_EQ(kt_sfifo_reset_safe(&fifo), -1);
    EXPECT_EQ(errno, EDEADLK);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 3u);

    EXPECT_EQ(pthread_mutex_unlock(&held), 0) << "it is this thread's still";
    pthread_mutex_destroy(&held);
    pthread_mutexattr_destroy(&checking);
}

#ifndef __mips__ // the emulator that runs the product's programs on a desk does not tell of an owner's death

TEST(FifoRefusal, ALockWhoseOwnerDiedIsTakenOnceAndGivenBack)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_t orphan;
    pthread_mutex_init(&orphan, &attributes);
    std::thread([&] { pthread_mutex_lock(&orphan); }).join();
    std::uint8_t room[8];
    kt_sfifo fifo = {sizeof room, room, room, room, &orphan};

    EXPECT_EQ(kt_sfifo_put_safe(&fifo, "abc", 3), 3u);

    errno = 0;
    EXPECT_EQ(kt_sfifo_put_safe(&fifo, "d", 1), 0u) << "nobody made it consistent";
    EXPECT_EQ(errno, ENOTRECOVERABLE);
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 3u);
    pthread_mutex_destroy(&orphan);
    pthread_mutexattr_destroy(&attributes);
}

#endif
