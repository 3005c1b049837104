/** Secrets and options of a session, byte for byte as the board's shell writes them. */
#include <kt_driver/net.h>

#include "session_files.h"
#include "session_parameters.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* skipped = "#hal pppd_task_create #\n[WARNING] auth_script skip pap/chap auth\n";

/** Makes a session with these parameters and ends it; what creating it printed. */
std::string prepare(const pppd_task_params& params)
{
    pppd_task* task = nullptr;
    std::string text = printed([&] { task = pppd_task_create(session_name, &params, 1); });
    EXPECT_NE(task, nullptr);
    EXPECT_EQ(pppd_task_exit(task), 0);
    return text;
}

void put_older_files()
{
    for (const char* file : {chap_secrets_path, pap_secrets_path, options_path})
        put_file(file, "older\n");
}

} // namespace

TEST(Secrets, AreUserAndPasswordBetweenTabs)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(prepare(parameters({.user = "card", .password = "secret"})), "#hal pppd_task_create #\n");
    EXPECT_EQ(bytes_of(chap_secrets_path), "card\t*\tsecret\t*\r\n\n");
    EXPECT_EQ(bytes_of(pap_secrets_path), "card\t*\tsecret\t*\r\n\n");
    EXPECT_EQ(bytes_of(options_path), "user card\n");
    EXPECT_EQ(board.commands(), (lines{"echo -e \"card\t*\tsecret\t*\\r\\n\" >> /kt/ppp/chap-secrets",
                                       "echo -e \"card\t*\tsecret\t*\\r\\n\" >> /kt/ppp/pap-secrets",
                                       "echo \"user card\" >> /kt/ppp/options"}));
}

TEST(Secrets, ReplaceOlderOnes)
{
    put_older_files();
    prepare(parameters({.user = "card", .password = "secret"}));
    prepare(parameters({.user = "other", .password = "word"}));
    EXPECT_EQ(bytes_of(chap_secrets_path), "other\t*\tword\t*\r\n\n");
    EXPECT_EQ(bytes_of(pap_secrets_path), "other\t*\tword\t*\r\n\n");
    EXPECT_EQ(bytes_of(options_path), "user other\n");
}

TEST(Secrets, AreRemovedWhenUserOrPasswordIsMissing)
{
    const pppd_task_params rows[] = {
        parameters({}),
        parameters({.user = "card"}),
        parameters({.password = "secret"}),
    };
    virtual_terminal board;
    for (const pppd_task_params& row : rows) {
        put_older_files();
        board.forget();
        EXPECT_EQ(prepare(row), skipped) << '"' << row.user << '"';
        EXPECT_EQ(board.commands(), lines{});
        for (const char* file : {chap_secrets_path, pap_secrets_path, options_path})
            EXPECT_EQ(bytes_of(file), "<none>") << file;
    }
}

TEST(Secrets, OnlyAnEmptyFirstByteMakesATextMissing)
{
    pppd_task_params params = parameters({.user = "card", .password = "secret"});
    params.password[0] = '\0'; // the rest of it still stands there
    EXPECT_EQ(prepare(params), skipped);
    EXPECT_EQ(bytes_of(pap_secrets_path), "<none>");
}

TEST(Secrets, AFieldWithoutATerminatorEndsWithItself)
{
    const std::string user(128, 'u');
    const std::string password(128, 'p');
    prepare(parameters({.user = user, .password = password}));
    EXPECT_EQ(bytes_of(chap_secrets_path), user + "\t*\t" + password + "\t*\r\n\n");
    EXPECT_EQ(bytes_of(pap_secrets_path), user + "\t*\t" + password + "\t*\r\n\n");
    EXPECT_EQ(bytes_of(options_path), "user " + user + "\n");
}

TEST(Secrets, PassThroughTheShellAsTheyAre)
{
    prepare(parameters({.user = "a b", .password = "$((6*7))%d"}));
    EXPECT_EQ(bytes_of(chap_secrets_path), "a b\t*\t42%d\t*\r\n\n");
    EXPECT_EQ(bytes_of(options_path), "user a b\n");
}

TEST(Secrets, WhatStandsInTheWayIsIgnored)
{
    // A folder is not removed, and no shell writes to it: the session is made all the same.
    std::filesystem::create_directory(chap_secrets_path);
    virtual_terminal board;
    board.fail(options_path, {.on = "create", .error = ENOSPC});
    testing::internal::CaptureStderr(); // the shells complain
    prepare(parameters({.user = "card", .password = "secret"}));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(std::filesystem::is_directory(chap_secrets_path));
    EXPECT_EQ(bytes_of(pap_secrets_path), "card\t*\tsecret\t*\r\n\n");
    EXPECT_EQ(bytes_of(options_path), "<none>");
}

TEST(Secrets, FollowNewParameters)
{
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    const pppd_task_params given = parameters({.user = "card", .password = "secret"});
    int result = -1;
    EXPECT_EQ(printed([&] { result = pppd_task_set_param(task, &given); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(bytes_of(pap_secrets_path), "card\t*\tsecret\t*\r\n\n");

    const pppd_task_params none{};
    EXPECT_EQ(printed([&] { result = pppd_task_set_param(task, &none); }),
              "[WARNING] auth_script skip pap/chap auth\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(bytes_of(pap_secrets_path), "<none>");
    EXPECT_EQ(pppd_task_exit(task), 0);
}
