// The steps of one access to a kernel attribute, which the classes and the flat functions share.
#pragma once

#include <cstddef>

namespace kt {

/**
 * Opens an attribute for what its owner's permission bits allow, never for what the caller may do: a driver that offers
 * no read must not be opened for reading by root either.
 * @param[out] mode  The open flags chosen; set once the file was found.
 * @return The descriptor. Throws sysfs_exception "stat <path>" or "can't open <path>".
 */
int open_attribute(const char* path, int& mode);

/**
 * Reads the attribute's text with one read(2).
 * @param[out] text  Room for @p size + 1 bytes; a NUL is put behind what was read.
 * Throws sysfs_exception "can't read <path>".
 */
void read_attribute(int fd, const char* path, char* text, std::size_t size);

/**
 * Writes the bytes with one write(2).
 * @param bytes  Ends in NUL at @p length: a failure's text quotes it.
 * @return The count written, which a driver may make less. Throws sysfs_exception "can't write <bytes> to <path>".
 */
int write_attribute(int fd, const char* path, const char* bytes, std::size_t length);

/** Writes a number in the drivers' form, "0x" and lower-case hexadecimal digits; else as write_attribute(). */
int write_attribute_number(int fd, const char* path, unsigned value);

} // namespace kt
