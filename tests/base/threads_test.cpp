/** Functions that any thread may call at any time, called from several at once. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr int thread_count = 4;

template <typename Work>
void on_threads(Work work)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < thread_count; ++number)
        threads.emplace_back(work, number);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

TEST(Threads, AccessAttributesSideBySide)
{
    virtual_terminal board;
    for (int number = 0; number < thread_count; ++number)
        board.attribute(KT_IOCTL_DIR "own" + std::to_string(number), {.text = "0\n", .kind = "integer"});
    kt_sys_attr_get_int(KT_IOCTL_DIR, "none"); // opens the syslog connection, which stays
    const std::set<int> before = open_descriptors();

    std::atomic<int> wrong = 0;
    on_threads([&](int number) {
        const std::string name = "own" + std::to_string(number);
        for (int i = 0; i < 25; ++i) {
            const int value = number * 1000 + i;
            wrong += kt_sys_attr_set_int(KT_IOCTL_DIR, name.c_str(), static_cast<unsigned int>(value)) != 0;
            wrong += kt_sys_attr_get_int(KT_IOCTL_DIR, name.c_str()) != value;
            char text[16] = {};
            unsigned int length = sizeof(text) - 1;
            wrong += kt_sys_attr_get_string(KT_IOCTL_DIR, name.c_str(), text, &length) != 0;
            wrong += text != std::to_string(value) + "\n";
            wrong += kt_sys_attr_get_int(KT_IOCTL_DIR, "none") != -1;
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Threads, RunCommandsSideBySide)
{
    virtual_terminal board;
    board.forget();
    const std::string text = printed([] {
        on_threads([](int number) {
            for (int i = 0; i < 5; ++i)
                system_helper("echo from-%d-%d", number, i);
        });
    });

    const std::vector<std::string> commands = board.commands();
    EXPECT_EQ(commands.size(), 20u);
    for (int number = 0; number < thread_count; ++number) {
        const std::string name = "from-" + std::to_string(number) + "-4\n";
        EXPECT_NE(text.find("system: echo " + name), std::string::npos);
        EXPECT_TRUE(text.starts_with(name) || text.find("\n" + name) != std::string::npos);
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 40);
}
