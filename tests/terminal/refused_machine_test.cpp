/** On a machine that forbids what a terminal needs, a sentence names the cause and the cure. */
#include "desk.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace kt::tests;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/** Runs a terminal after a step that takes something away from it, in namespaces of its own. */
ended run_after(const desk& user, const std::string& step)
{
    return user.run(
        {"unshare", "--user", "--map-root-user", "--mount", "sh", "-c", step + " && exec \"$0\" -- true", KT_TERMINAL});
}

} // namespace

TEST(RefusedMachine, TheWayOfProvokingLetsATerminalRun)
{
    const desk user;
    const ended run = run_after(user, "true");
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST(RefusedMachine, NamespacesThatAreSwitchedOffAreNamed)
{
    const desk user;
    const ended run = run_after(user, "echo 0 > /proc/sys/user/max_user_namespaces");
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: cannot make the terminal's namespaces"),
                               HasSubstr("sudo sysctl user.max_user_namespaces=")));
}

TEST(RefusedMachine, AFilterThatForbidsNamespacesIsNamed)
{
    const desk user;
    const ended run = user.run({KT_DESK_HELPER, "without-namespaces", KT_TERMINAL, "--", "true"});
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err,
                AllOf(StartsWith("kt-terminal: cannot make the terminal's namespaces (Operation not permitted)"),
                      AnyOf(HasSubstr("'sudo sysctl kernel."), HasSubstr("'--security-opt seccomp=unconfined"))));
}

TEST(RefusedMachine, AMissingFuseNodeIsNamed)
{
    const desk user;
    const ended run = run_after(user, "mount -t tmpfs none /dev && : > /dev/null");
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: cannot open /dev/fuse (No such file or directory)"),
                               HasSubstr("sudo modprobe fuse")));
}

TEST(RefusedMachine, AFuseNodeThatIsNoneIsNamed)
{
    const desk user;
    write_desk_file(user.folder() + "/empty", "");
    const ended run = run_after(user, "mount --bind empty /dev/fuse");
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: cannot "), HasSubstr("fuse")));
}

TEST(RefusedMachine, AFuseNodeThatIsClosedToTheUserIsNamed)
{
    const desk user;
    if (geteuid() != 0) { // a file of somebody else's that nobody may open
        const ended closed = user.run({"unshare", "--map-root-user", "--mount", "sh", "-c",
                                       "mount --bind /etc/shadow /dev/fuse && exec \"$0\" -- true", KT_TERMINAL});
        EXPECT_EQ(closed.status, 125);
        EXPECT_THAT(closed.err, StartsWith("kt-terminal: cannot open /dev/fuse (Permission denied)"));
        return;
    }
    std::filesystem::permissions(user.folder() + "/run", std::filesystem::perms::all);
    const ended run =
        user.run({"unshare", "--mount", "sh", "-c",
                  "mkdir node terminal && mount -t tmpfs none node && mknod -m 600 node/fuse c 10 229 && "
                  "mount --bind node/fuse /dev/fuse && mount --bind \"$0\" terminal && "
                  "exec setpriv --reuid 65534 --regid 65534 --clear-groups terminal/bin/kt-terminal -- true",
                  KT_BUILD_FOLDER});
    EXPECT_EQ(run.status, 125);
    EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: cannot open /dev/fuse (Permission denied)"),
                               HasSubstr("sudo chmod 0666 /dev/fuse")));
}
