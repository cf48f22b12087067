#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

#include "vesko/vesko3/time.h"

/// The arithmetic of calendar time: the Gregorian calendar of 1970 to 2038, without zones.
///
/// Years beyond that can come out of `breakSeconds`, and are right up to 2099.
namespace Tovra::Vesko::Detail {

inline constexpr std::uint64_t secondsPerDay = 86400;
inline constexpr int daysOfMonth[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
inline constexpr int daysBeforeMonth[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

constexpr bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

/// Brings year, month and day into their ranges.
constexpr void normaliseDate(SystemTime& time) {
    time.year = std::clamp(time.year, 1970, 2038);
    time.month = std::clamp(time.month, 1, 12);
    if (time.day == 29 && time.month == 2 && isLeapYear(time.year)) return;
    time.day = std::clamp(time.day, 1, daysOfMonth[time.month - 1]);
}

/// Brings hour, minute and second into their ranges.
constexpr void normaliseTimeOfDay(SystemTime& time) {
    if (time.hour > 23) {
        time.hour = 23;
        time.minute = 59;
        time.second = 59;
        return;
    }
    time.hour = std::max(time.hour, 0);
    time.minute = std::clamp(time.minute, 0, 59);
    time.second = std::clamp(time.second, 0, 59);
}

// Leap days since 1970. The quotient counts the one of the date's own year, which lies ahead until
// March.
constexpr int leapDaysBefore(const SystemTime& date) {
    const int counted = (date.year - 1968) / 4;
    return date.month < 3 && isLeapYear(date.year) ? counted - 1 : counted;
}

/// @return days since 1970-01-01
/// @pre the date is normalised
constexpr int daysOfDate(const SystemTime& date) {
    return (date.year - 1970) * 365 + leapDaysBefore(date) + daysBeforeMonth[date.month - 1] +
           date.day - 1;
}

/// @return day of the week, Sunday is 0
/// @pre the month is within 1 to 12
constexpr int dayOfWeek(const SystemTime& date) {
    // 365 is one more than a multiple of 7; the 1st of January 1970 was a Thursday.
    return (date.year - 1970 + leapDaysBefore(date) + daysBeforeMonth[date.month - 1] + date.day +
            3) %
           7;
}

/// Brings all fields into their ranges and sets `wday`.
constexpr void normalise(SystemTime& time) {
    normaliseDate(time);
    time.wday = dayOfWeek(time);
    normaliseTimeOfDay(time);
}

/// @return seconds from 1970-01-01 00:00:00 to the time, which is normalised for it
constexpr std::uint64_t localSeconds(SystemTime time) {
    normaliseDate(time);
    normaliseTimeOfDay(time);
    return static_cast<std::uint64_t>(daysOfDate(time)) * secondsPerDay +
           static_cast<std::uint64_t>(time.hour * 3600 + time.minute * 60 + time.second);
}

/// Sets year, month and day.
/// @param days since 1970-01-01
constexpr void breakDays(SystemTime& time, std::uint32_t days) {
    // In years that begin in March the leap day is the last: each four of them have 1461 days, as
    // long as no century year comes between, and each five months 153.
    constexpr std::uint32_t daysFromMarch1968 = 671;
    const std::uint32_t quarterDays = (days + daysFromMarch1968) * 4 + 3;
    const std::uint32_t yearsFromMarch1968 = quarterDays / 1461;
    const std::uint32_t dayOfYear = quarterDays % 1461 / 4;
    const std::uint32_t month = (dayOfYear * 5 + 2) / 153;  // 0 is March
    const bool nextYear = month >= 10;
    time.year = static_cast<std::int32_t>(1968 + yearsFromMarch1968 + (nextYear ? 1 : 0));
    time.month = static_cast<std::int32_t>(nextYear ? month - 9 : month + 3);
    time.day = static_cast<std::int32_t>(dayOfYear - (month * 153 + 2) / 5 + 1);
}

/// Sets all fields but `isdst`. The year is not limited.
/// @param seconds since 1970-01-01 00:00:00, of the same scale as the fields
constexpr void breakSeconds(SystemTime& time, std::uint64_t seconds) {
    // Far beyond the range nothing has a meaning, but everything a value.
    const auto days = static_cast<std::uint32_t>(seconds / secondsPerDay);
    const auto rest = static_cast<std::int32_t>(seconds % secondsPerDay);
    breakDays(time, days);
    time.hour = rest / 3600;
    time.minute = rest / 60 % 60;
    time.second = rest % 60;
    time.wday = static_cast<std::int32_t>((days + 4) % 7);  // 1970 began on a Thursday
}

inline constexpr SystemTime emptyTime = {0, 0, 0, 0, 0, 0, 0, -1};

/// @return the first moment of a year
constexpr SystemTime firstDayOf(int year) {
    SystemTime time = {year, 1, 1, 0, 0, 0, 0, -1};
    time.wday = dayOfWeek(time);
    return time;
}

/// @return true when the runtime library can tell this time
constexpr bool fitsTimeT(std::uint64_t time) {
    return static_cast<std::uint64_t>(static_cast<std::time_t>(time)) == time;
}

}  // namespace Tovra::Vesko::Detail
