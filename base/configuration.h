// The library's own settings, in the file that it shares with applications.
#pragma once

namespace kt {

/** Keeps a number; the result of kt_ini_config(). */
int store_setting(const char* key, int value);

/** The number of a key; 0 when there is none. */
int stored_setting(const char* key);

} // namespace kt
