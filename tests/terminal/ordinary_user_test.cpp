/** A terminal that an ordinary user starts is the same for the program. */
#include "desk.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace kt::tests;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

/** Root acts as "nobody", with a FUSE node that is open to all in a mount namespace of the run's own; others as they
 * are. */
class OrdinaryUser : public testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0 && access("/dev/fuse", R_OK | W_OK) != 0)
            GTEST_SKIP() << "/dev/fuse is not open to this user: sudo chmod 0666 /dev/fuse";
        for (const char* folder : {"/node", "/home"})
            std::filesystem::create_directory(user.folder() + folder);
        std::filesystem::permissions(user.folder() + "/home", std::filesystem::perms::all);
        std::filesystem::permissions(user.folder() + "/run", std::filesystem::perms::all);
    }

    /** Runs a command of the build folder; "$build" in it stands for that folder. */
    ended run(const std::string& command) const
    {
        const words environment = {"build=" + build(), "HOME=" + user.folder() + "/home"};
        if (geteuid() != 0)
            return user.run({"sh", "-c", command}, {.folder = user.folder() + "/home", .environment = environment});
        // A checkout may lie where "nobody" may not look: the build folder is shown in the node's memory.
        const std::string script = "mount -t tmpfs -o mode=0755 none ../node && mknod -m 666 ../node/fuse c 10 229 && "
                                   "mkdir ../node/build && mount --bind \"$0\" ../node/build && "
                                   "mount --bind ../node/fuse /dev/fuse && "
                                   "exec setpriv --reuid 65534 --regid 65534 --clear-groups sh -c \"$1\"";
        return user.run({"unshare", "--mount", "sh", "-c", script, KT_BUILD_FOLDER, command},
                        {.folder = user.folder() + "/home", .environment = environment});
    }

    ended script(const std::string& text, const std::string& options = {}) const
    {
        return run("exec \"$build/bin/kt-terminal\" " + options + " -- bash -c '" + text + "'");
    }

    std::string build() const { return geteuid() == 0 ? user.folder() + "/node/build" : KT_BUILD_FOLDER; }

    desk user;
};

} // namespace

TEST_F(OrdinaryUser, IsRootOnTheBoard)
{
    const ended run = script("id -u; id -g; stat -c %u:%a /sys/class/kt_misc/ioctl/gsm_pwr /kt /dev");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "0\n0\n0:644\n0:755\n0:755\n");
}

TEST_F(OrdinaryUser, ReadsAndWritesTheBoard)
{
    const ended run = script("echo 2 > /sys/class/kt_misc/ioctl/gsm_pwr && cat /sys/class/kt_misc/ioctl/gsm_pwr; "
                             "echo 33 > /proc/sys/vm/dirty_ratio && cat /proc/sys/vm/dirty_ratio; "
                             "mkdir /dev/chn && echo x > /dev/chn/1 && rm -rf /dev/chn && "
                             "echo kept > /kt/file && mv /kt/file /kt/other && cat /kt/other; "
                             "echo d > /mnt/data/file && chmod 0700 /mnt/data/file && cat /mnt/data/file; "
                             "touch /tmp/x /run/x /dev/shm/x; echo n > /dev/null");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "2\n33\nkept\nd\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(OrdinaryUser, MeetsTheSameRefusals)
{
    const ended run =
        script("echo x > /sys/class/kt_misc/ioctl/no_such; cat /proc/sys/vm/drop_caches; touch /usr/x; touch x");
    EXPECT_NE(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("no_such: Permission denied"));
    EXPECT_THAT(run.err, HasSubstr("drop_caches: Permission denied"));
    EXPECT_THAT(run.err, HasSubstr("'/usr/x': Read-only file system"));
    EXPECT_THAT(run.err, HasSubstr("'x': Read-only file system"));
}

TEST_F(OrdinaryUser, RunsStandInsAndTakesTheBoardDown)
{
    const ended run = script("hwclock -w; rfkill list; reboot; sleep 1000", "--log log");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "kt-terminal: the board was restarted\n");
    EXPECT_THAT(desk_file(user.folder() + "/home/log"), HasSubstr(R"("arguments":["hwclock","-w"])"));
}

TEST_F(OrdinaryUser, KeepsStateAndBindsFolders)
{
    std::filesystem::create_directory(user.folder() + "/home/bound");
    std::filesystem::permissions(user.folder() + "/home/bound", std::filesystem::perms::all);
    EXPECT_EQ(script("echo a > /kt/kept; echo b > bound/made", "--state state --bind bound").status, 0);
    EXPECT_EQ(script("cat /kt/kept", "--state state").out, "a\n");
    EXPECT_EQ(desk_file(user.folder() + "/home/bound/made"), "b\n");
}

TEST_F(OrdinaryUser, IsFoundByCtl)
{
    const ended run = this->run("\"$build/bin/kt-terminal\" --name mine -- sleep 1000 & "
                                "until \"$build/bin/kt-terminal\" ctl plug mains 2> /dev/null; do sleep 0.1; done; "
                                "\"$build/bin/kt-terminal\" ctl get /sys/class/power_supply/mains/online; "
                                "\"$build/bin/kt-terminal\" ctl stop; wait $!");
    EXPECT_EQ(run.status, 137);
    EXPECT_EQ(run.out, "1\n");
}

TEST_F(OrdinaryUser, PassesTheProgramsOwnTests)
{
    for (const char* behaviour :
         {"AttributeRules.WhatNobodyMayWriteIsRefusedToRootAtTheOpen", "AttributeRules.ChangedPermissionsAreHonoured",
          "AttributeFolder.NothingIsRemovedOrMoved", "DeviceFolder.LinksAreFollowedRenamedAndReplaced",
          "DeviceFolder.ATerminalOfItsOwnCanBeMade", "In/KeptFiles.TimesAndPermissionsAreKept/*",
          "In/KeptFiles.SharedMappingsAreWrittenBack/Kt", "ProcView.ProcessesAreTheTerminalsOwn",
          "FailureRules.AHangingAccessEndsWithASignal", "JournalView.TheProcessIsTheOneTheProgramKnows",
          "JournalView.SyslogLinesStandBetweenTheAccessesWithTheirPriority", "KernelDifferences.ThereIsOneUserOnly",
          "KernelDifferences.FilesCarryTheDesksTime", "StandIns.EachShellCommandIsTold"}) {
        const ended run = this->run("export LD_LIBRARY_PATH=\"$build/lib\"; exec \"$build/bin/kt-terminal\" -- "
                                    "\"$build/tests/terminal_view_test\" --gtest_filter='" +
                                    std::string(behaviour) + "'");
        EXPECT_EQ(run.status, 0) << behaviour << '\n' << run.out << run.err;
        EXPECT_THAT(run.out, ContainsRegex("PASSED  \\] [1-9]")) << behaviour << ": there is no such test";
    }
}
