/** The files of a data session: what stands in them, and what they are. */
#pragma once

#include <string>
#include <sys/types.h>

namespace kt::tests {

constexpr const char* session_name = "kt_wireless_module";
constexpr const char* chat_script_path = "/kt/ppp/peers/gprs-connect-chat-kt_wireless_module";
constexpr const char* chap_secrets_path = "/kt/ppp/chap-secrets";
constexpr const char* pap_secrets_path = "/kt/ppp/pap-secrets";
constexpr const char* options_path = "/kt/ppp/options";
constexpr const char* pipe_path = "/tmp/kt_wireless_module";

/** All bytes of a file; "<none>" when there is no such file. */
std::string bytes_of(const std::string& path);

/** Makes or replaces a file. */
void put_file(const std::string& path, const std::string& bytes, mode_t permissions = 0644);

/** Makes or replaces a script of bash's that everybody may run. */
void put_script(const std::string& path, const std::string& commands);

/** Type and permissions; 0 when there is no such file. */
mode_t mode_of(const std::string& path);

/** Numbers of the process's open descriptors on a path. */
int descriptors_on(const std::string& path);

/** A descriptor of this process on a path, opened for reading, or for writing; -1 when there is none. */
int reader_of(const std::string& path);
int writer_of(const std::string& path);

} // namespace kt::tests
