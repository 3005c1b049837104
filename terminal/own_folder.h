/** The terminal's own folder, as programs inside see it: the same paths for those who make it and those who use it. */
#pragma once

namespace kt::terminal::own {

inline constexpr const char* folder = "/run/kt-terminal";
inline constexpr const char* control = "/run/kt-terminal/control"; /**< Stream socket: the control protocol. */
inline constexpr const char* log = "/run/kt-terminal/log";         /**< Datagram socket behind /dev/log. */
inline constexpr const char* report = "/run/kt-terminal/report";   /**< File by which stand-ins ask the board. */
inline constexpr const char* standin = "/run/kt-terminal/standin"; /**< The program that all stand-ins are. */
inline constexpr const char* fuse = "/run/kt-terminal/fuse";       /**< /dev/fuse, for terminals inside this one. */

} // namespace kt::terminal::own
