/** The board's attribute folders, as applications name them: with the closing slash. */
#pragma once

#define KT_IOCTL_DIR "/sys/class/kt_misc/ioctl/"
#define KT_SYSINFO_DIR "/sys/class/kt_misc/sysinfo/"
#define KT_NFC_DIR "/sys/class/kt_misc/nfc/"
