/**
 * @file
 * @brief Marks and macros that every public header uses.
 *
 * Error numbers stand under \@errno in the descriptions: the call returned the failure value and left that number in
 * @c errno. What holds for every function of the library:
 * - Arguments that would make the library read or write outside its own objects, or through a null pointer, are
 * refused: the failure value is returned (-1; a count 0; a pointer null), @c errno is EINVAL, nothing is touched, and
 *   nothing is printed unless the function says so.
 * - No exception leaves the library, except for the allocation failure that @ref attributes describes.
 * - Diagnostics go to standard output. It is flushed before each shell command that the library runs, before it
 *   forks and before the child becomes another program, so that each line comes out once and in order; never else.
 */
#ifndef KT_DRIVER_API_H
#define KT_DRIVER_API_H

/** Marks the functions that the library exports; everything else is hidden. */
#define KT_API __attribute__((visibility("default")))

/** Lets the compiler check a call's arguments against its printf-style format text. */
#define KT_PRINTF_LIKE(format_position, first_argument) __attribute__((format(printf, format_position, first_argument)))

/**
 * Stands for the arguments of a function that ignores whatever it is given: C and C++ callers may pass any. C before
 * C23 says so by an empty list.
 */
#if defined(__cplusplus) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 202311L)
#define KT_ANY_ARGUMENTS ...
#else
#define KT_ANY_ARGUMENTS
#endif

#endif
