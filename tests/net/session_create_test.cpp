/** Opening a session: what is made, and what makes it fail. */
#include <kt_driver/net.h>

#include "session_files.h"
#include "session_parameters.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

TEST(SessionCreate, DeferredMakesFilesAndPipeAndStartsNothing)
{
    virtual_terminal board;
    board.forget();
    pppd_task* task = nullptr;
    EXPECT_EQ(printed([&] { task = pppd_task_create(session_name, nullptr, 1); }),
              "#hal pppd_task_create #\n"
              "[WARNING] auth_script skip pap/chap auth\n");
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(told(board, {"shell", "program", "create"}), lines{"create " + std::string(chat_script_path)});
    EXPECT_EQ(bytes_of(chap_secrets_path), "<none>");
    EXPECT_EQ(bytes_of(pap_secrets_path), "<none>");
    EXPECT_EQ(bytes_of(options_path), "<none>");
    EXPECT_EQ(descriptors_on(pipe_path), 2);

    int status = -1;
    EXPECT_EQ(printed([&] { status = pppd_task_poll(task); }), "#hal pppd_task_poll #\n");
    EXPECT_EQ(status, PPPD_TASK_IDLE);
    EXPECT_EQ(printed([&] { status = pppd_task_exit(task); }), "#hal pppd_task_exit #\n");
    EXPECT_EQ(status, 0);
}

TEST(SessionCreate, EveryNumberButZeroDefers)
{
    virtual_terminal board;
    for (const int defer : {1, 2, -1, 0x10000}) {
        board.forget();
        pppd_task* const task = pppd_task_create(session_name, nullptr, defer);
        ASSERT_NE(task, nullptr);
        EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE) << defer;
        EXPECT_EQ(told(board, {"shell", "program"}), lines{}) << defer;
        EXPECT_EQ(pppd_task_exit(task), 0);
    }
}

TEST(SessionCreate, ThereIsNoOtherDevice)
{
    virtual_terminal board;
    const pppd_task_params params = parameters({.dial_string = "1", .user = "u", .password = "p"});
    for (const char* name : {"", "kt_wireless_modul", "kt_wireless_module2", "KT_WIRELESS_MODULE", "/etc/passwd"}) {
        put_file(options_path, "older\n");
        board.forget();
        pppd_task* task = nullptr;
        errno = 0;
        const std::string text = printed([&] { task = pppd_task_create(name, &params, 0); });
        const int cause = errno;
        EXPECT_EQ(task, nullptr) << name;
        EXPECT_EQ(cause, ENODEV) << name;
        EXPECT_EQ(text, "#hal pppd_task_create #\n") << name;
        EXPECT_EQ(doings(board), lines{}) << name;
        EXPECT_EQ(bytes_of(options_path), "older\n") << name;
        EXPECT_EQ(mode_of(pipe_path), mode_t{0}) << name;
    }
}

TEST(SessionCreate, WithoutANameIsRefusedSilently)
{
    virtual_terminal board;
    board.forget();
    const pppd_task_params params{};
    pppd_task* task = nullptr;
    errno = 0;
    const std::string text = printed([&] { task = pppd_task_create(nullptr, &params, 1); });
    const int cause = errno;
    EXPECT_EQ(task, nullptr);
    EXPECT_EQ(cause, EINVAL);
    EXPECT_EQ(text, "");
    EXPECT_EQ(doings(board), lines{});
}

TEST(SessionCreate, ThereIsOneSessionAtATime)
{
    virtual_terminal board;
    const pppd_task_params first = parameters({.dial_string = "first", .user = "u", .password = "p"});
    const pppd_task_params second = parameters({.dial_string = "second"});
    pppd_task* const task = pppd_task_create(session_name, &first, 1);
    ASSERT_NE(task, nullptr);
    const std::string script = bytes_of(chat_script_path);

    board.forget();
    pppd_task* other = nullptr;
    errno = 0;
    const std::string text = printed([&] { other = pppd_task_create(session_name, &second, 1); });
    const int cause = errno;
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(cause, EBUSY);
    EXPECT_EQ(text, "#hal pppd_task_create #\n");
    EXPECT_EQ(doings(board), lines{});
    EXPECT_EQ(bytes_of(chat_script_path), script);
    EXPECT_EQ(bytes_of(options_path), "user u\n");
    EXPECT_EQ(descriptors_on(pipe_path), 2);

    // Another name is looked up first.
    errno = 0;
    EXPECT_EQ(pppd_task_create("other", nullptr, 1), nullptr);
    EXPECT_EQ(errno, ENODEV);

    EXPECT_EQ(pppd_task_exit(task), 0);
    other = pppd_task_create(session_name, &second, 1);
    ASSERT_NE(other, nullptr) << "the first one has gone";
    EXPECT_EQ(bytes_of(options_path), "<none>");
    EXPECT_EQ(pppd_task_exit(other), 0);
}

TEST(SessionCreate, LeavesNoDescriptorsBehind)
{
    const int before = static_cast<int>(descriptors_on(pipe_path));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(pppd_task_exit(pppd_task_create(session_name, nullptr, 1)), 0);
    EXPECT_EQ(descriptors_on(pipe_path), before);
    EXPECT_EQ(descriptors_on(chat_script_path), 0);
}

TEST(SessionCreate, InitAndFiniDoNothing)
{
    virtual_terminal board;
    board.forget();
    int results = -1;
    EXPECT_EQ(printed([&] { results = kt_pppd_init() | kt_pppd_fini(); }), "");
    EXPECT_EQ(results, 0);
    EXPECT_EQ(doings(board), lines{});
}

namespace {

struct handle_call {
    const char* name;
    int (*call)(pppd_task* task);
};
const handle_call handle_calls[] = {
    {"pppd_task_set_param",
     [](pppd_task* task) {
         const pppd_task_params params{};
         return pppd_task_set_param(task, &params);
     }},
    {"pppd_task_start", pppd_task_start},
    {"pppd_task_poll", pppd_task_poll},
    {"pppd_task_stop", pppd_task_stop},
    {"pppd_task_kill", pppd_task_kill},
    {"pppd_task_exit", pppd_task_exit},
};

/** Every function refuses this handle and does nothing. */
void expect_refused(virtual_terminal& board, pppd_task* task)
{
    for (const handle_call& tried : handle_calls) {
        board.forget();
        int result = 0;
        errno = 0;
        const std::string text = printed([&] { result = tried.call(task); });
        const int cause = errno;
        EXPECT_EQ(result, -1) << tried.name;
        EXPECT_EQ(cause, EINVAL) << tried.name;
        EXPECT_EQ(text, "") << tried.name;
        EXPECT_EQ(doings(board), lines{}) << tried.name;
    }
}

/** A handle that nobody may look behind: there is no memory. */
pppd_task* no_session()
{
    return reinterpret_cast<pppd_task*>(64);
}

} // namespace

TEST(SessionHandles, WithoutASessionAllAreRefused)
{
    virtual_terminal board;
    expect_refused(board, nullptr);
    expect_refused(board, no_session());
}

TEST(SessionHandles, OnlyTheOpenSessionsIsTaken)
{
    virtual_terminal board;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    expect_refused(board, nullptr);
    expect_refused(board, no_session());
    EXPECT_EQ(pppd_task_poll(task), PPPD_TASK_IDLE);
    EXPECT_EQ(pppd_task_exit(task), 0);
    expect_refused(board, task); // freed
}

TEST(SessionHandles, ParametersAreNeeded)
{
    virtual_terminal board;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    board.forget();
    int result = 0;
    errno = 0;
    const std::string text = printed([&] { result = pppd_task_set_param(task, nullptr); });
    const int cause = errno;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EINVAL);
    EXPECT_EQ(text, "");
    EXPECT_EQ(doings(board), lines{});
    EXPECT_EQ(pppd_task_exit(task), 0);
}
