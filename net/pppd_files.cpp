// The files that pppd and chat read for a session.
#include "base/failure.h"
#include "base/shell.h"
#include "net/pppd_task.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** Runs a command with texts of the session in it. */
// NOLINTNEXTLINE(cert-dcl50-cpp): as printf
__attribute__((format(printf, 1, 2))) void run(const char* format, ...)
{
    char command[1024]; // longer than any: two fields of 128 and the rest
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    (void)kt::run_shell(command);
}

/** Adds one argument of chat: the script is one command, continued over its lines. */
// NOLINTNEXTLINE(cert-dcl50-cpp): as printf
__attribute__((format(printf, 2, 3))) void add(std::FILE* script, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (void)std::vfprintf(script, format, arguments);
    va_end(arguments);
    (void)std::fputs(" \\\n", script);
}

} // namespace

int pppd_task::auth_script()
{
    for (const char* file : {"/kt/ppp/chap-secrets", "/kt/ppp/pap-secrets", "/kt/ppp/options"})
        (void)unlink(file);
    if (params_.user[0] == '\0' || params_.password[0] == '\0') {
        std::puts("[WARNING] auth_script skip pap/chap auth");
        return 0;
    }
    // A field without a terminator ends where it ends.
    run("echo -e \"%.128s\t*\t%.128s\t*\\r\\n\" >> /kt/ppp/chap-secrets", params_.user, params_.password);
    run("echo -e \"%.128s\t*\t%.128s\t*\\r\\n\" >> /kt/ppp/pap-secrets", params_.user, params_.password);
    run("echo \"user %.128s\" >> /kt/ppp/options", params_.user);
    return 0;
}

int pppd_task::chat_script()
{
    const std::string path = "/kt/ppp/peers/gprs-connect-chat-" + name_;
    (void)unlink(path.c_str());
    std::FILE* const script = std::fopen(path.c_str(), "we");
    if (script == nullptr) {
        const kt::errno_keeper keeper;
        std::printf("[ERROR] chat_script %s, %m\n", path.c_str());
        return -1;
    }
    (void)std::fputs("#!/bin/sh\n", script);
    add(script, "exec /usr/sbin/chat");
    add(script, "TIMEOUT 5");
    add(script, "ECHO ON");
    add(script, "ABORT '\\nBUSY\\r'");
    add(script, "ABORT '\\nERROR\\r'");
    add(script, "ABORT '\\nNO ANSWER\\r'");
    add(script, "ABORT '\\nNO CARRIER\\r'");
    add(script, "ABORT '\\nNO DIALTONE\\r'");
    add(script, "ABORT '\\nRINGING\\r\\n\\r\\nRINGING\\r'");
    add(script, "TIMEOUT 30");
    add(script, "'' AT");
    add(script, "SAY \"Press CTRL-C to close the connection at any stage!\"");
    add(script, "SAY \"\\ndefining PDP context...\\n\"");
    add(script, "OK ATE0");
    add(script, "OK \"ATI;+CSUB;+CSQ;+CPIN?;+COPS?;+CGREG?;&D2\"");
    if (params_.context_command[0] != '\0')
        add(script, "OK '%.128s'", params_.context_command);
    add(script, "OK ATD%.128s", params_.dial_string);
    add(script, "TIMEOUT 20");
    add(script, "SAY \"\\nwaiting for connect...\\n\"");
    add(script, "CONNECT \"\"");
    add(script, "SAY \"\\nConnected.\"");
    add(script, "SAY \"\\nIf the following ppp negotiations fail,\\n\"");
    add(script, "SAY \"\\nwaiting for connect...\\n\"");
    add(script, "SAY \"try restarting the phone.\\n\"");
    (void)std::fclose(script);
    (void)chmod(path.c_str(), 0777);
    return 0;
}
