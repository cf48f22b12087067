#pragma once

#include <cstdint>

#include "vesko/export.h"
#include "vesko/vesko3/function.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Vesko {

/// A date and a time of day, as plain fields in this order.
struct SystemTime {
    std::int32_t year;    // four digits
    std::int32_t month;   // 1 to 12
    std::int32_t day;     // 1 to 31
    std::int32_t wday;    // 0 to 6, Sunday is 0
    std::int32_t hour;    // 0 to 23
    std::int32_t minute;  // 0 to 59
    std::int32_t second;  // 0 to 59
    std::int32_t isdst;   // -1; no calculation reads it
};

/// A date and a time of day with milliseconds, as plain fields in this order.
struct SystemTimeEx {
    std::int32_t year;
    std::int32_t month;
    std::int32_t day;
    std::int32_t wday;
    std::int32_t hour;
    std::int32_t minute;
    std::int32_t second;
    std::int32_t millisecond;  // 0 to 999
    std::int32_t reserved[4];  // 0, read by nobody
};

/// A moment with the zone in which it was told.
struct UTCTimeDef {
    std::uint64_t utc;      // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t timeZone;  // seconds, east of UTC positive
    std::int32_t dst;       // 1 with daylight saving, else 0
};

/// A calendar time: the fields of `SystemTime`, arithmetic in seconds, text forms and the clocks.
///
/// A plain value that owns nothing and is copied freely. Its calendar is the Gregorian one of the
/// years 1970 to 2038: fields out of range are brought into it and nothing fails. The fields are
/// public, and what is written there stays as it is until an operation normalises a copy.
/// Threads: one object belongs to one thread at a time; any thread may call the static operations.
/// Units: seconds where nothing else is said. Zones are fixed offsets: daylight saving is not
/// applied. The local zone is the runtime library's; once it was read, a change of `TZ` counts from
/// the next call of `tzset` on.
class VESKO_API CTime : public SystemTime {
public:
    /// Order of a date's parts: y year, m month, d day.
    enum DateFormat { ymd = 0, mdy = 1, dmy = 2 };

    /// What `format` takes from the pattern instead of the process-wide setting; may be joined.
    enum FormatFlags {
        formatSeparator = 1,  // "-", "." and "/" are written as they stand
        // The order in which the first "y", "M" and "d" stand; without one that is known year, month,
        // day, and a line in the log.
        formatDateOrder = 2,
        formatHourMode = 4  // 12 hours if there is an "h", else 24
    };

    static const CTime minTime;  // 2000-01-01 00:00:00: the clock is never set to less
    static const CTime maxTime;  // 2038-01-01 00:00:00: nor to more

    /// Makes a time with all fields 0 and `isdst` -1. It is less than every date.
    CTime();

    /// Makes the local time of a moment, as `breakTime` does.
    /// @param time seconds since 1970-01-01 00:00:00 UTC
    CTime(std::uint64_t time);

    /// Makes a time of six fields and brings each into its range.
    ///
    /// The day is cut to its month: only a leap year has a 29th of February. An hour above 23 makes
    /// the whole time of day 23:59:59.
    CTime(int year, int month, int day, int hour, int minute, int second);

    CTime(const CTime& other) = default;
    CTime& operator=(const CTime& other) = default;

    /// Makes `makeTime` and `breakTime` of the whole process work without a zone, for good.
    /// @return 0
    static int disableTimezone();

    /// @return seconds since 1970-01-01 00:00:00 UTC, the fields being local time
    std::uint64_t makeTime() const;

    /// Sets all fields but `isdst` to the local time of a moment. The year is not limited, but dates
    /// are right up to 2099 alone, and a local time before 1970 has no meaning.
    /// @param time seconds since 1970-01-01 00:00:00 UTC
    void breakTime(std::uint64_t time);

    /// The arithmetic works on the local fields, without a zone. A result before 1970 has no
    /// meaning; one after 2038 is not limited.
    CTime operator+(std::int64_t seconds) const;
    CTime operator-(std::int64_t seconds) const;
    CTime& operator+=(std::int64_t seconds);
    CTime& operator-=(std::int64_t seconds);

    /// @return seconds from `other` to this time, negative when this one is earlier
    std::int64_t operator-(const CTime& other) const;

    /// Comparison goes by the six fields as they stand; `wday` and `isdst` do not count.
    bool operator==(const CTime& other) const;
    bool operator!=(const CTime& other) const;
    bool operator<(const CTime& other) const;
    bool operator>(const CTime& other) const;
    bool operator>=(const CTime& other) const;
    bool operator<=(const CTime& other) const;

    /// Writes the time under a pattern of letters.
    ///
    /// Each run of "y", "M" or "d" is a slot for the next part of the date, in date order; the
    /// number of letters of a kind in the whole pattern tells the digits of its part: of a year two
    /// for one or two letters and four for more, of month and day at least one or, from two letters
    /// on, two. A kind without a letter has no part. A fourth run writes
    /// nothing. Runs of "H" or "h", of "m" and of "s" write hour, minute and second, with a leading
    /// zero from two letters on. A run of "t" writes AM or PM, or, with 24 hours, takes the blanks
    /// before it away. "-", "." and "/" write the separator; anything else stands for itself.
    /// @param buf   room for 11 characters for each one of the pattern, and a zero; null only logs
    ///              a line
    /// @param flags sum of `FormatFlags`
    /// @pre `format` is not null
    void format(char* buf, const char* format, int flags = 0) const;

    /// Reads six numbers, with anything between them, and normalises the fields.
    ///
    /// The first three go to the date in the order in which the pattern has "y", "M" and "d"; a
    /// pattern with no known order leaves the date alone. Hour, minute and second follow. With an
    /// "h" in the pattern the text must hold "AM" or "PM" and an hour of at most 12. Further
    /// numbers are ignored.
    /// @param buf    a text; null reads as the empty one
    /// @param format a pattern as for `format`; null reads as the empty one
    /// @param flags  without effect
    /// @return false, with the reason in the log and the six fields 0, when the text does not fit
    bool parse(const char* buf, const char* format, int flags = 0);

    /// Stores a pattern for the process and takes separator, date order and hour mode from it.
    ///
    /// `format` uses those three; the pattern itself is only kept. What the pattern does not tell
    /// becomes "-" and `ymd`, with a line in the log.
    /// @param format null reads as the empty pattern
    static void setFormatString(const char* format);
    static void setFormat(const CString& format);

    /// @return the pattern that was stored last; "yyyy-MM-dd HH:mm:ss" at first
    static const CString getFormat();

    static DateFormat getDateFormat();
    static bool get12Hour();
    static char getSeparator();

    /// @return the local wall clock, which jumps when the clock is set. While daylight saving is on
    ///         its `makeTime` is an hour more than `getCurrentUTCtime`, since zones are fixed offsets.
    static CTime getCurrentTime();

    /// The same as `getCurrentTime`.
    static CTime getCurTimeForPrint();

    /// @return the local wall clock with milliseconds, with its fields as the system tells them
    static SystemTimeEx getCurrentTimeEx();

    /// @return seconds since 1970-01-01 00:00:00 UTC
    static std::uint64_t getCurrentUTCtime();

    /// @return milliseconds since 1970-01-01 00:00:00 UTC
    static std::uint64_t getCurrentUTCMilliSecond();

    /// @return milliseconds since the library was loaded; never less than any thread has seen
    ///         before, and not disturbed when the clock is set
    static std::uint64_t getCurrentMilliSecond();

    /// @return microseconds on the scale of `getCurrentMilliSecond`, straight from the counter
    static std::uint64_t getCurrentMicroSecond();

    /// Sets the system's clock, through the hook.
    ///
    /// The default hook limits the time to `minTime` and `maxTime`, and tells the attached procs of
    /// the change. Whether the system allowed it is found in the last error.
    /// @param time      local time
    /// @param tolerance seconds: a clock that is no further away is left alone; 0 always sets it
    static void setCurrentTime(const CTime& time, int tolerance);

    /// As `setCurrentTime`, with a result.
    /// @return false when the last error of this thread is 0x1000000e or 0x1000000f afterwards:
    ///         the clock was not set. An error of this kind from an earlier call counts too.
    static bool setCurrentTimeEx(const CTime& time, int tolerance);

    /// As `setCurrentTimeEx`, with milliseconds (0 to 999) and through the hook for them.
    static bool setCurrentTime(const SystemTimeEx& time, int tolerance);

    /// Has `proc` called with the new time after each change of the clock by the default hooks, on
    /// the thread that set it and without a lock. Its result is ignored. A proc stays attached for
    /// good; one attached twice is called twice.
    /// @return true
    static bool attachModifyProc(TFunction1<bool, SystemTime> proc);

    /// Replaces what sets the clock for `setCurrentTime` and `setCurrentTimeEx`. The new hook does
    /// all of the work itself, or calls the previous one.
    /// @return the previous hook
    static TFunction2<void, const CTime&, int> attachSetCurrentTimeHook(
        TFunction2<void, const CTime&, int> hook);

    /// Replaces what sets the clock for the form of `setCurrentTime` with milliseconds.
    /// @return the previous hook
    static TFunction2<void, const SystemTimeEx&, int> attachSetCurrentTimeHookEx(
        TFunction2<void, const SystemTimeEx&, int> hook);

    /// Sets the zone for `getUTCForEmbed`.
    /// @param seconds -43200 to 50400, east of UTC positive
    /// @return false, with nothing changed, when `seconds` is out of range
    static bool setTimeZone(int seconds);

    /// Sets whether `getUTCForEmbed` takes the wall clock to be on daylight saving time.
    /// @return true
    static bool setDst(bool on);

    /// Tells the wall clock in UTC, by `setTimeZone` and `setDst` and not by the system's zone.
    /// @return false, with `out` untouched, until both were called
    static bool getUTCForEmbed(UTCTimeDef& out);

private:
    // Fields that are in order already; lets the constants exist before any code runs.
    constexpr explicit CTime(const SystemTime& fields) : SystemTime(fields) {}
};

}  // namespace Tovra::Vesko
