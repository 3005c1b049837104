// The directories of the board driver's attributes.
#pragma once

namespace kt {

inline constexpr char ioctl_directory[] = "/sys/class/kt_misc/ioctl/";
inline constexpr char nfc_directory[] = "/sys/class/kt_misc/nfc/";
inline constexpr char sysinfo_directory[] = "/sys/class/kt_misc/sysinfo/";

} // namespace kt
