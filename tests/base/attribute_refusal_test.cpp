/** Null pointers given to the attribute functions. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

char room[8] = "#######";
unsigned int length = 7;

struct row {
    const char* what;
    int (*call)();
};
const row rows[] = {
    {"get_string dir", [] { return kt_sys_attr_get_string(nullptr, "tried", room, &length); }},
    {"get_string name", [] { return kt_sys_attr_get_string(KT_IOCTL_DIR, nullptr, room, &length); }},
    {"get_string buf", [] { return kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", nullptr, &length); }},
    {"get_string len", [] { return kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", room, nullptr); }},
    {"get_int dir", [] { return kt_sys_attr_get_int(nullptr, "tried"); }},
    {"get_int name", [] { return kt_sys_attr_get_int(KT_IOCTL_DIR, nullptr); }},
    {"set_string dir", [] { return kt_sys_attr_set_string(nullptr, "tried", "1"); }},
    {"set_string name", [] { return kt_sys_attr_set_string(KT_IOCTL_DIR, nullptr, "1"); }},
    {"set_string value", [] { return kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", nullptr); }},
    {"set_int dir", [] { return kt_sys_attr_set_int(nullptr, "tried", 1); }},
    {"set_int name", [] { return kt_sys_attr_set_int(KT_IOCTL_DIR, nullptr, 1); }},
};

} // namespace

TEST(AttributeRefusal, NullPointersTouchNothing)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "1\n"});
    for (const row& refused : rows) {
        board.forget();
        int result = 0;
        errno = 0;
        const std::string text = printed([&] { result = refused.call(); });
        const int cause = errno;
        EXPECT_EQ(text, "") << refused.what;
        EXPECT_EQ(result, -1) << refused.what;
        EXPECT_EQ(cause, EINVAL) << refused.what;
        EXPECT_EQ(doings(board), std::vector<std::string>{}) << refused.what;
        EXPECT_STREQ(room, "#######") << refused.what;
        EXPECT_EQ(length, 7u) << refused.what;
    }
}
