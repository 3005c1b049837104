/**
 * @file
 * @brief Keys of INI files, by which applications and the library keep settings.
 *
 * The library itself keeps its settings in "/mnt/data/autosuspend.ini", section "Property": the key "timeout" is that
 * of kt_sleep_timeout().
 *
 * What holds for both functions: the file is loaded afresh by iniparser, whose rules are in force.
 * - Names of sections and keys are taken in lower case; ';' and '#' begin comments, a backslash at a line's end goes on
 *   with the next, blanks and quotes around a value are dropped.
 * - A line has at most 1022 characters, continued ones together. A longer one, or one that is neither section nor key,
 *   makes the whole file unreadable; iniparser then tells on standard error why.
 * - A folder, and a file that fails in the middle of its reading, count as a file that ends there.
 *
 * Threads: any, but callers that share a file must take turns themselves.
 */
#ifndef KT_DRIVER_CONFIG_H
#define KT_DRIVER_CONFIG_H

#include <kt_driver/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup config Configuration files
 * @{
 */

/**
 * @brief Set one key of an INI file.
 *
 * Loads the file, cuts it to nothing, dumps its old contents to standard error, and writes it anew with the key set; a
 * section that is not there is made. Comments, layout, keys before the first section, and quotes around values are
 * lost; a value is written as it is, behind a key that is filled up to 30 characters. So a value that begins a comment,
 * holds a line feed, ends in a backslash or makes its line too long spoils the file, and an empty section or one with a
 * colon or bracket in its name is not found again: it is the caller's care to give none. A terminal that loses power in
 * between is left with an empty file. A file that is not there is not made: "dictionary_new error" is printed. One that
 * cannot be opened for writing stays as it is, and "cannot open <path>" is printed.
 *
 * @param path     The file, which must be there.
 * @param section  Its section.
 * @param key      The key. Section, a colon and key have at most 1023 characters together.
 * @param value    The new text.
 * @return 0, also when the file could not be loaded or written; -1: refused, the file is as it was.
 * @errno EINVAL  a null argument, or section and key are too long
 */
KT_API int kt_ini_config(const char *path, const char *section, const char *key, const char *value);

/**
 * @brief Read one key of an INI file.
 *
 * @param      path     The file.
 * @param      section  Its section.
 * @param      key      The key. Section, a colon and key have at most 1023 characters together.
 * @param[out] out      The text with its terminator, "0" when there is no such key. It is copied whatever its length;
 *                      as a line has at most 1022 characters, 1024 bytes always suffice.
 * @return 0; -1: refused; or the file could not be loaded: "dictionary_new error" is printed and @p out is empty.
 * @errno EINVAL  a null argument, or section and key are too long; @p out is untouched
 */
KT_API int kt_ini_read(const char *path, const char *section, const char *key, char *out);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
