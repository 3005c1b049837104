// Sound: volume, players, external buzzer.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

int kt_audio_set_volume(int volume)
{
    (void)system_helper("cmd_alsa set_ctl card=hw:0 ctl=\"Master Playback Volume\" value=%d", volume);
    return 0;
}

int kt_audio_file_play(const char* file)
{
    if (file == nullptr)
        return kt::refuse(EINVAL);
    (void)system_helper("madplay -o wav:- %s |aplay > /dev/null", file);
    return 0;
}

int kt_audio_wav_play(const char* file)
{
    if (file == nullptr)
        return kt::refuse(EINVAL);
    (void)system_helper("aplay %s", file);
    return 0;
}

int kt_ap_buzzer_control_ext(int /*unused*/, int value)
{
    (void)kt::set_attribute_int(kt::ioctl_directory, "sp_buzzer", value);
    return 0;
}
