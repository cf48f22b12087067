#pragma once

#include "vesko/vesko3/time.h"

/// Reads the texts that a build stamps into a version record. No function takes null.
namespace Tovra::Vesko::Detail {

/// @return `text`, or the empty text for null
constexpr const char* textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

/// Reads a decimal number, which may have blanks and a sign before it.
/// @param number untouched when there is none; one beyond its range comes out as some other number
/// @return the rest of the text behind the number, null when there is none
const char* readNumber(const char* text, int& number);

/// Reads a date in the form of the compiler's date macro, "Jul 16 2018".
/// @param date its month becomes 13 when the name is unknown; a day or year that cannot be read
///             stays as it is, and so do all other fields
void readDate(const char* text, SystemTime& date);

}  // namespace Tovra::Vesko::Detail
