/** Switches that run the board's programs: command, echo, arguments and result. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

/** The arguments with which a program ran last, its name included; empty when it did not run. */
lines arguments_of(virtual_terminal& board, std::string_view program)
{
    lines arguments;
    for (const event& happened : board.events_of({"program"})) {
        if (happened.path == program)
            arguments = happened.arguments;
    }
    if (!arguments.empty()) // however it was called: by name or by path
        arguments[0] = arguments[0].substr(arguments[0].rfind('/') + 1);
    return arguments;
}

} // namespace

TEST(Programs, TheVolumeIsSetByTheMixer)
{
    virtual_terminal board;
    for (const int volume : {0, 25, 100, -1}) {
        board.forget();
        const std::string command =
            "cmd_alsa set_ctl card=hw:0 ctl=\"Master Playback Volume\" value=" + std::to_string(volume);
        int result = -1;
        EXPECT_EQ(printed([&] { result = kt_audio_set_volume(volume); }), "system: " + command + "\n");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(board.commands(), lines{command});
        EXPECT_EQ(arguments_of(board, "cmd_alsa"),
                  (lines{"cmd_alsa", "set_ctl", "card=hw:0", "ctl=Master Playback Volume",
                         "value=" + std::to_string(volume)}));
    }
}

TEST(Programs, AFileIsDecodedIntoThePlayer)
{
    virtual_terminal board;
    board.program("aplay", 0, "this goes nowhere\n");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_audio_file_play("/kt/sound/ok.mp3"); }),
              "system: madplay -o wav:- /kt/sound/ok.mp3 |aplay > /dev/null\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), lines{"madplay -o wav:- /kt/sound/ok.mp3 |aplay > /dev/null"});
    EXPECT_EQ(arguments_of(board, "madplay"), (lines{"madplay", "-o", "wav:-", "/kt/sound/ok.mp3"}));
    EXPECT_EQ(arguments_of(board, "aplay"), lines{"aplay"});
}

TEST(Programs, AWavFileGoesToThePlayer)
{
    virtual_terminal board;
    board.program("aplay", 0, "Playing WAVE\n");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_audio_wav_play("/kt/sound/ok.wav"); }),
              "system: aplay /kt/sound/ok.wav\nPlaying WAVE\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), lines{"aplay /kt/sound/ok.wav"});
    EXPECT_EQ(arguments_of(board, "aplay"), (lines{"aplay", "/kt/sound/ok.wav"}));
}

TEST(Programs, AFailingPlayerIsIgnored)
{
    virtual_terminal board;
    for (const char* name : {"cmd_alsa", "madplay", "aplay", "fw_setenv", "flash_logo.sh"})
        board.program(name, 9);
    lines results;
    printed([&] {
        for (const int result : {kt_audio_set_volume(5), kt_audio_file_play("a"), kt_audio_wav_play("b"),
                                 kt_ota_system("/tmp/none"), kt_logo_write("c")})
            results.push_back(std::to_string(result));
    });
    EXPECT_EQ(results, (lines{"0", "0", "0", "0", "0"}));
}

TEST(Programs, ALogoIsWrittenByTheBoardsScript)
{
    virtual_terminal board;
    board.program("flash_logo.sh", 0, "flashing\n");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_logo_write("/tmp/logo.bmp"); }), "logo write /tmp/logo.bmp\nflashing\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), lines{"/kt/root/flash_logo.sh /tmp/logo.bmp"});
    EXPECT_EQ(arguments_of(board, "flash_logo.sh"), (lines{"flash_logo.sh", "/tmp/logo.bmp"}));
}

TEST(Programs, ALogoPathFillsTheCommandBufferAtMost)
{
    virtual_terminal board;
    for (const std::size_t length : {232u, 233u, 256u, 5000u}) { // "/kt/root/flash_logo.sh " and the NUL take 24 of 256
        const std::string file(length, 'f');
        board.forget();
        int result = -2;
        errno = 0;
        const std::string text = printed([&] { result = kt_logo_write(file.c_str()); });
        const int cause = errno;
        if (length == 232) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(text, "logo write " + file + "\n");
            EXPECT_EQ(board.commands(), lines{"/kt/root/flash_logo.sh " + file});
        } else {
            EXPECT_EQ(result, -1) << length;
            EXPECT_EQ(cause, EINVAL) << length;
            EXPECT_EQ(text, "") << length;
            EXPECT_EQ(doings(board), lines{}) << length;
        }
    }
}

TEST(Programs, DownloadModeIsEnteredByTheBoardsScript)
{
    virtual_terminal board;
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_reboot_edl(); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), lines{"/kt/kt_module/autodloader.sh"});
    EXPECT_EQ(arguments_of(board, "autodloader.sh"), lines{"autodloader.sh"});

    board.program("autodloader.sh", 4);
    result = kt_reboot_edl();
    ASSERT_TRUE(WIFEXITED(result));
    EXPECT_EQ(WEXITSTATUS(result), 4);
}

TEST(Programs, AnUpdateIsHandedToTheRecoverySystem)
{
    virtual_terminal board;
    std::ofstream("/tmp/update.swu") << "package";
    board.program("fw_setenv", 0, "set\n");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_ota_system("/tmp/update.swu"); }),
              "system: mkdir /mnt/data/recovery/\n"
              "system: mv /tmp/update.swu /mnt/data/recovery/ota.swu\n"
              "system: fw_setenv mode boot-recovery\n"
              "set\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), (lines{"mkdir /mnt/data/recovery/", "mv /tmp/update.swu /mnt/data/recovery/ota.swu",
                                       "fw_setenv mode boot-recovery"}));
    EXPECT_EQ(arguments_of(board, "fw_setenv"), (lines{"fw_setenv", "mode", "boot-recovery"}));

    std::ifstream moved("/mnt/data/recovery/ota.swu");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(moved), {}), "package");
    EXPECT_FALSE(std::filesystem::exists("/tmp/update.swu"));
}

TEST(Programs, AnUpdateGoesOnWhenStepsFail)
{
    virtual_terminal board;
    std::filesystem::create_directories("/mnt/data/recovery"); // the first step fails, the second as well
    board.forget();
    int result = -1;
    printed([&] { result = kt_ota_system("/tmp/none.swu"); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands().size(), 3u);
    EXPECT_EQ(arguments_of(board, "fw_setenv"), (lines{"fw_setenv", "mode", "boot-recovery"}));
    EXPECT_TRUE(board.events_of({"power"}).empty()); // the caller restarts
}

TEST(Programs, NoTextIsRefused)
{
    const struct {
        const char* name;
        int (*call)(const char*);
    } functions[] = {
        {"kt_logo_write", kt_logo_write},           {"kt_audio_file_play", kt_audio_file_play},
        {"kt_audio_wav_play", kt_audio_wav_play},   {"kt_ota_system", kt_ota_system},
        {"kt_check_net_exist", kt_check_net_exist},
    };
    virtual_terminal board;
    for (const auto& tried : functions) {
        board.forget();
        int result = 0;
        errno = 0;
        const std::string text = printed([&] { result = tried.call(nullptr); });
        const int cause = errno;
        EXPECT_EQ(text, "") << tried.name;
        EXPECT_EQ(result, -1) << tried.name;
        EXPECT_EQ(cause, EINVAL) << tried.name;
        EXPECT_EQ(doings(board), lines{}) << tried.name;
    }
}

TEST(Programs, ALongFileNameIsCutWithTheCommand)
{
    virtual_terminal board;
    const std::string file(600, 'f');
    board.forget();
    int result = -1;
    const std::string command = ("aplay " + file).substr(0, 511);
    EXPECT_EQ(printed([&] { result = kt_audio_wav_play(file.c_str()); }), "system: " + command + "\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands(), lines{command});
}
