/** The chat script, byte for byte, for the parameters that a caller may give. */
#include <kt_driver/net.h>

#include "session_files.h"
#include "session_parameters.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

/** Up to and including the query of the modem: the same for all parameters. */
const std::string head = R"(#!/bin/sh
exec /usr/sbin/chat \
TIMEOUT 5 \
ECHO ON \
ABORT '\nBUSY\r' \
ABORT '\nERROR\r' \
ABORT '\nNO ANSWER\r' \
ABORT '\nNO CARRIER\r' \
ABORT '\nNO DIALTONE\r' \
ABORT '\nRINGING\r\n\r\nRINGING\r' \
TIMEOUT 30 \
'' AT \
SAY "Press CTRL-C to close the connection at any stage!" \
SAY "\ndefining PDP context...\n" \
OK ATE0 \
OK "ATI;+CSUB;+CSQ;+CPIN?;+COPS?;+CGREG?;&D2" \
)";

/** Behind the dial line. */
const std::string tail = R"(TIMEOUT 20 \
SAY "\nwaiting for connect...\n" \
CONNECT "" \
SAY "\nConnected." \
SAY "\nIf the following ppp negotiations fail,\n" \
SAY "\nwaiting for connect...\n" \
SAY "try restarting the phone.\n" \
)";

/** The script that a session with these parameters writes. */
std::string script_of(const pppd_task_params* params)
{
    pppd_task* const task = pppd_task_create(session_name, params, 1);
    EXPECT_NE(task, nullptr);
    std::string script = bytes_of(chat_script_path);
    EXPECT_EQ(pppd_task_exit(task), 0);
    return script;
}

} // namespace

TEST(ChatScript, HasContextAndNumberOfItsOwnWhenNoneAreGiven)
{
    EXPECT_EQ(script_of(nullptr), head + R"(OK 'AT+CGDCONT=1,"IP","CMNET","",0,0' \
OK ATD*99***1# \
)" + tail);
}

TEST(ChatScript, TakesTheCallersBlockInTheirPlace)
{
    const pppd_task_params params =
        parameters({.context_command = R"(AT+CGDCONT=2,"IPV4V6","apn.example")", .dial_string = "*99***2#"});
    EXPECT_EQ(script_of(&params), head + R"(OK 'AT+CGDCONT=2,"IPV4V6","apn.example"' \
OK ATD*99***2# \
)" + tail);
}

TEST(ChatScript, AnEmptyBlockReplacesTheFirstValuesToo)
{
    const pppd_task_params params{};
    EXPECT_EQ(script_of(&params), head + "OK ATD \\\n" + tail);
}

TEST(ChatScript, AnEmptyContextDropsItsLineOnly)
{
    const pppd_task_params params = parameters({.dial_string = "T0123456789"});
    EXPECT_EQ(script_of(&params), head + "OK ATDT0123456789 \\\n" + tail);
}

TEST(ChatScript, AnEmptyNumberKeepsItsLine)
{
    const pppd_task_params params = parameters({.context_command = "AT+CGDCONT=1"});
    EXPECT_EQ(script_of(&params), head + "OK 'AT+CGDCONT=1' \\\nOK ATD \\\n" + tail);
}

TEST(ChatScript, TakesItsTextsAsTheyAre)
{
    const pppd_task_params params = parameters({.context_command = "AT %s%n\t\\n\xff", .dial_string = "\"$(x)%d"});
    EXPECT_EQ(script_of(&params), head + "OK 'AT %s%n\t\\n\xff' \\\nOK ATD\"$(x)%d \\\n" + tail);
}

TEST(ChatScript, WhatStandsBehindAnEndedTextIsNotUsed)
{
    pppd_task_params params = parameters({.context_command = "AT+CGDCONT=1", .dial_string = "*99#"});
    for (std::size_t i = 20; i < sizeof params.context_command; ++i)
        params.context_command[i] = params.dial_string[i] = '!';
    EXPECT_EQ(script_of(&params), head + "OK 'AT+CGDCONT=1' \\\nOK ATD*99# \\\n" + tail);
}

TEST(ChatScript, AFullFieldEndsAfter127Characters)
{
    const std::string context(127, 'c');
    const std::string number(127, '5');
    const pppd_task_params params = parameters({.context_command = context, .dial_string = number});
    EXPECT_EQ(script_of(&params), head + "OK '" + context + "' \\\nOK ATD" + number + " \\\n" + tail);
}

TEST(ChatScript, AnUnendedFieldEndsWithItself)
{
    const std::string context(128, 'c');
    const std::string number(128, '5');
    pppd_task_params params = parameters({.context_command = context, .dial_string = number});
    params.user[0] = 'u'; // would follow the number
    EXPECT_EQ(script_of(&params), head + "OK '" + context + "' \\\nOK ATD" + number + " \\\n" + tail);
}

TEST(ChatScript, EverybodyMayReadWriteAndRunIt)
{
    umask(077);
    script_of(nullptr);
    EXPECT_EQ(mode_of(chat_script_path), mode_t{S_IFREG | 0777});
}

TEST(ChatScript, ReplacesAnOlderOne)
{
    put_file(chat_script_path, std::string(10'000, 'x'), 0400);
    const std::string script = script_of(nullptr);
    EXPECT_TRUE(script.starts_with("#!/bin/sh\n"));
    EXPECT_TRUE(script.ends_with("SAY \"try restarting the phone.\\n\" \\\n"));
    EXPECT_EQ(mode_of(chat_script_path), mode_t{S_IFREG | 0777});
}

TEST(ChatScript, RemovesTheOlderOneInsteadOfWritingIntoIt)
{
    // What a link or a running chat holds stays as it was.
    put_file("/kt/ppp/peers/other", "other\n");
    ASSERT_EQ(symlink("other", chat_script_path), 0);
    script_of(nullptr);
    EXPECT_EQ(bytes_of("/kt/ppp/peers/other"), "other\n");
    EXPECT_EQ(mode_of(chat_script_path), mode_t{S_IFREG | 0777});
}

TEST(ChatScript, IsWrittenAfterTheSecrets)
{
    virtual_terminal board;
    const pppd_task_params params = parameters({.dial_string = "1", .user = "u", .password = "p"});
    board.forget();
    script_of(&params);
    const std::vector<std::string> created = told(board, {"create"});
    EXPECT_EQ(created, (std::vector<std::string>{"create /kt/ppp/chap-secrets", "create /kt/ppp/pap-secrets",
                                                 "create /kt/ppp/options", "create " + std::string(chat_script_path)}));
}

TEST(ChatScript, ThatCannotBeMadeFailsTheSessionAndSaysWhy)
{
    virtual_terminal board;
    for (const int cause : {EACCES, ENOSPC, EROFS}) {
        const int rule = board.fail(chat_script_path, {.on = "create", .error = cause});
        pppd_task* task = nullptr;
        errno = 0;
        const std::string text = printed([&] { task = pppd_task_create(session_name, nullptr, 1); });
        const int left = errno;
        EXPECT_EQ(task, nullptr);
        EXPECT_EQ(left, cause);
        EXPECT_EQ(text, "#hal pppd_task_create #\n"
                        "[WARNING] auth_script skip pap/chap auth\n"
                        "[ERROR] chat_script /kt/ppp/peers/gprs-connect-chat-kt_wireless_module, " +
                            std::string(strerror(cause)) + "\n");
        EXPECT_EQ(mode_of(pipe_path), mode_t{0}) << "the pipe comes after the script";
        board.mend(rule);
    }
    // The failed sessions are gone: another one can be made.
    EXPECT_EQ(pppd_task_exit(pppd_task_create(session_name, nullptr, 1)), 0);
}

TEST(ChatScript, TheCauseOfItsFailureOutlivesALineThatCannotBePrinted)
{
    virtual_terminal board;
    board.fail(chat_script_path, {.on = "create", .error = EACCES});
    const int kept = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    dup2(full, STDOUT_FILENO);
    errno = 0;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    const int cause = errno;
    dup2(kept, STDOUT_FILENO);
    EXPECT_EQ(task, nullptr);
    EXPECT_EQ(cause, EACCES);
    close(kept);
    close(full);
}

TEST(ChatScript, ThatCannotBeMadeForLackOfItsFolderFailsToo)
{
    virtual_terminal board;
    board.remove("/kt/ppp/peers");
    errno = 0;
    EXPECT_EQ(pppd_task_create(session_name, nullptr, 1), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(ChatScript, NewParametersRewriteIt)
{
    virtual_terminal board;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    const pppd_task_params params = parameters({.dial_string = "*99***7#"});
    int result = -1;
    EXPECT_EQ(printed([&] { result = pppd_task_set_param(task, &params); }),
              "[WARNING] auth_script skip pap/chap auth\n"); // no trace line
    EXPECT_EQ(result, 0);
    EXPECT_EQ(bytes_of(chat_script_path), head + "OK ATD*99***7# \\\n" + tail);

    board.fail(chat_script_path, {.on = "create", .error = EACCES});
    errno = 0;
    const std::string text = printed([&] { result = pppd_task_set_param(task, &params); });
    const int cause = errno;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EACCES);
    EXPECT_EQ(text, "[WARNING] auth_script skip pap/chap auth\n"
                    "[ERROR] chat_script /kt/ppp/peers/gprs-connect-chat-kt_wireless_module, " +
                        std::string(strerror(EACCES)) + "\n");
    EXPECT_EQ(pppd_task_exit(task), 0) << "the session stays";
}
