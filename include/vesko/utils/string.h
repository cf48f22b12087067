#pragma once

#include <cstddef>

#include "vesko/export.h"

/// Text in buffers of a fixed size, which always ends with a zero.
///
/// Threads: any thread may call any function.
/// Units: sizes are bytes, with the terminating zero; lengths are characters, without it.
namespace Tovra::Utils {

/// Formats like `std::snprintf`, but ends the text with a zero only if there is room left for it.
/// It takes buffer, size and format.
/// @return the length of the text, or -1 when it is longer than the size: as much as fits is written
///         then. Where memory is short, a text that fills the size counts as longer, and its last
///         character is a zero
VESKO_API extern int (*snprintf)(char*, std::size_t, const char*, ...);

/// Compares two texts, where the letters A to Z are the same as a to z.
/// @return less than, equal to or greater than 0
VESKO_API extern int (*stricmp)(const char*, const char*);

/// Appends a text, or as much of it as there is room for.
/// @param dest     a text that is shorter than `destSize`
/// @param destSize room in `dest`, which ends with a zero afterwards
/// @param count    the most that is appended
/// @return the most that could be appended: the smaller one of `count` and the room that was left
VESKO_API unsigned int strncat(char* dest, unsigned int destSize, const char* src,
                               unsigned int count);

/// Copies a text, or as much of it as there is room for; zeros fill up what was asked for.
/// @param destSize room in `dest`, 1 at least
/// @param count    the most that is copied
/// @return the length of the text in `dest`
VESKO_API unsigned int strncpy(char* dest, unsigned int destSize, const char* src,
                               unsigned int count);

/// Formats a text, or as much of it as there is room for.
/// @param size room in `dest`, 1 at least
/// @return the length of the text in `dest`
VESKO_API int snprintf_x(char* dest, int size, const char* format, ...) VESKO_PRINTF(3, 4);

}  // namespace Tovra::Utils
