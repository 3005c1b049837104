/** Nothing that a program does on a terminal reaches the desk. */
#include "desk.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <set>
#include <sys/utsname.h>
#include <unistd.h>

using namespace kt::tests;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

std::set<std::string> names_in(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename());
    return names;
}

/** A desk's setting that a test would change if it could; put back in any case. */
class desk_setting {
public:
    explicit desk_setting(std::string path) : path_(std::move(path)), before_(desk_file(path_)) {}
    ~desk_setting()
    {
        if (!unchanged())
            std::ofstream(path_) << before_;
    }
    desk_setting(const desk_setting&) = delete;
    desk_setting& operator=(const desk_setting&) = delete;

    bool unchanged() const { return desk_file(path_) == before_; }
    int number() const { return std::stoi(before_); }

private:
    std::string path_;
    std::string before_;
};

/** A file that must not come to be on the desk; taken away again if it did. */
class never_made {
public:
    explicit never_made(const std::string& folder) : path_(folder + "/kt-terminal-test-" + std::to_string(getpid())) {}
    ~never_made()
    {
        std::error_code unused;
        fs::remove_all(path_, unused);
    }
    never_made(const never_made&) = delete;
    never_made& operator=(const never_made&) = delete;

    const std::string& path() const { return path_; }
    bool is_there() const { return fs::exists(fs::symlink_status(path_)); }

private:
    std::string path_;
};

} // namespace

TEST(Isolation, TakingTheBoardDownLeavesTheDeskUp)
{
    const desk user;
    const std::string boot = desk_file("/proc/sys/kernel/random/boot_id");
    for (const char* command : {"poweroff", "reboot -f", "reboot", "halt -f", "/sbin/poweroff"})
        EXPECT_EQ(user.script(command).status, 0) << command;
    EXPECT_EQ(user.terminal({"--", KT_DESK_HELPER, "restart"}).status, 0);
    EXPECT_EQ(user.terminal({"--", KT_DESK_HELPER, "power-off"}).status, 0);
    EXPECT_EQ(desk_file("/proc/sys/kernel/random/boot_id"), boot);
}

TEST(Isolation, RemovingChannelsRemovesNoneOfTheDesks)
{
    const desk user;
    const std::set<std::string> before = names_in("/dev");
    const ended run = user.script("mkdir -p /dev/chn/1 && rm -rf /dev/chn && test ! -e /dev/chn");
    EXPECT_EQ(run.status, 0) << run.err;
    // Everything that can be removed in there: the desk's nodes are not among it.
    (void)user.script("rm -rf /dev/* 2> /dev/null");
    for (const std::string& name : before)
        EXPECT_TRUE(fs::exists(fs::symlink_status("/dev/" + name))) << name;
}

TEST(Isolation, SettingsOfTheDesksKernelStand)
{
    const desk user;
    const desk_setting ratio("/proc/sys/vm/dirty_ratio");
    const desk_setting swappiness("/proc/sys/vm/swappiness");
    const std::string other = std::to_string(ratio.number() == 30 ? 31 : 30);
    const ended run = user.script("echo " + other +
                                  " > /proc/sys/vm/dirty_ratio; cat /proc/sys/vm/dirty_ratio; "
                                  "echo " +
                                  other + " > /proc/sys/vm/swappiness");
    EXPECT_EQ(run.out, other + "\n") << "the program reads back what it wrote";
    EXPECT_TRUE(ratio.unchanged());
    EXPECT_TRUE(swappiness.unchanged());
}

TEST(Isolation, TheHostsFoldersCannotBeWritten)
{
    const desk user;
    for (const char* folder : {"/usr", "/etc", "/var", "/opt", "/", "/usr/sbin"}) {
        const never_made made(folder);
        const ended run = user.script("touch " + made.path());
        if (std::string(folder) != "/") { // the root itself is the terminal's
            EXPECT_NE(run.status, 0) << folder;
            EXPECT_THAT(run.err, HasSubstr("Read-only file system")) << folder;
        }
        EXPECT_FALSE(made.is_there()) << folder;
    }
}

TEST(Isolation, TemporaryFoldersAreTheTerminalsOwn)
{
    const desk user;
    for (const char* folder : {"/tmp", "/run", "/mnt", "/dev/shm"}) {
        const never_made made(folder);
        EXPECT_EQ(user.script("touch " + made.path()).status, 0) << folder;
        EXPECT_FALSE(made.is_there()) << folder;
    }
}

TEST(Isolation, NoMountCanBeMadeWritable)
{
    const desk user;
    const never_made made("/usr");
    const std::string attempts =
        "{ mount -o remount,bind,rw /usr; mount -o remount,rw /usr; mount -o remount,rw /; "
        "umount /usr; umount -l /proc/sys; umount -l /sys; "
        "chroot / mount -o remount,bind,rw /usr; nsenter -t 1 -m mount -o remount,bind,rw /usr; "
        "unshare -m mount -o remount,bind,rw /usr; "
        "unshare -Urm bash -c 'mount -o remount,bind,rw /usr; touch " +
        made.path() +
        "'; "
        "unshare -Urm bash -c 'umount /usr; touch " +
        made.path() +
        "'; "
        "touch " +
        made.path() + "; } 2> /dev/null; true";
    EXPECT_EQ(user.script(attempts).status, 0);
    EXPECT_FALSE(made.is_there());
}

TEST(Isolation, ANamespaceWithinReachesNoSettingEither)
{
    const desk user;
    const desk_setting ratio("/proc/sys/vm/dirty_ratio");
    const std::string other = std::to_string(ratio.number() == 30 ? 31 : 30);
    const std::string write = "echo " + other + " > /proc/sys/vm/dirty_ratio";
    (void)user.script("{ unshare -Urm bash -c 'umount /proc/sys; " + write +
                      "'; "
                      "unshare -Urmpf bash -c 'mount -t proc proc /mnt; echo " +
                      other +
                      " > /mnt/sys/vm/dirty_ratio'; "
                      "unshare -Urmpf --mount-proc bash -c '" +
                      write + "'; } 2> /dev/null");
    EXPECT_TRUE(ratio.unchanged());
}

TEST(Isolation, TheDesksProcessesAreOutOfReach)
{
    const desk user;
    const std::string test = std::to_string(getpid());
    const ended run = user.script("kill -0 " + test + " 2> /dev/null && echo reached; ls /proc/" + test +
                                  "/exe 2> /dev/null; kill -9 -1; true");
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(user.terminal({"true"}).status);
}

TEST(Isolation, NetworkAndNamesAreTheTerminalsOwn)
{
    const desk user;
    utsname before{};
    ASSERT_EQ(uname(&before), 0);
    const ended run =
        user.script("hostname other 2> /dev/null; uname -n; cat /proc/net/dev | tail -n +3 | cut -d: -f1");
    EXPECT_THAT(run.out, testing::MatchesRegex("kt-terminal\n +lo\n")) << "of the desk's interfaces none";
    utsname after{};
    ASSERT_EQ(uname(&after), 0);
    EXPECT_STREQ(after.nodename, before.nodename);
}

TEST(Isolation, NoMountAppearsOnTheDesk)
{
    const desk user;
    running_terminal running = user.start("one", {"--", "sleep", "1000"});
    (void)running.board();
    EXPECT_THAT(desk_file("/proc/self/mountinfo"), testing::Not(HasSubstr("kt-terminal")));
    EXPECT_FALSE(fs::exists("/run/kt-terminal"));
    EXPECT_FALSE(fs::exists("/.parts"));
}

TEST(Isolation, ASignalToTheOwnGroupStaysInside)
{
    const desk user;
    const ended run =
        user.run({"setsid", "--wait", "bash", "-c",
                  "trap 'echo reached' TERM; \"$0\" -- bash -c 'kill -TERM 0'; echo \"status $?\"", KT_TERMINAL});
    EXPECT_EQ(run.out, "status 143\n") << run.err;
}
