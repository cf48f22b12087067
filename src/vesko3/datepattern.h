#pragma once

#include <optional>
#include <string_view>

#include "vesko/vesko3/time.h"

/// The text forms of time, for both time classes: they differ in the settings that they hand over.
namespace Tovra::Vesko::Detail {

/// How a time is written. Aligned to be read and written as one word.
struct alignas(8) DateStyle {
    CTime::DateFormat order = CTime::ymd;
    bool twelveHours = false;
    bool keepsSeparators = false;  // each "-", "." and "/" as it stands
    char separator = '-';          // or this in its place
};

/// @return the order in which the first "y", "M" and "d" of a pattern stand, a missing one counting
///         as the last; nothing for any other order
std::optional<CTime::DateFormat> findDateOrder(std::string_view pattern);

/// @return the separator that a pattern asks for, nothing if it holds none
std::optional<char> findSeparator(std::string_view pattern);

/// @return true when a pattern asks for 12 hours
bool asksForTwelveHours(std::string_view pattern);

/// Writes a time and a terminating zero.
/// @param out large enough for the result
void writeDate(char* out, const SystemTime& time, std::string_view pattern, const DateStyle& style);

enum class DateParse { good, tooFewNumbers, hourTooLarge, noHalfOfDay };

/// Reads the six fields as they stand in a text. None is brought into its range; where the result
/// is not `good` they may hold part of it.
DateParse readDate(SystemTime& time, std::string_view text, std::string_view pattern);

}  // namespace Tovra::Vesko::Detail
