#pragma once

#include <cstdint>
#include <string>

#include "vesko/export.h"
#include "vesko/vesko3/time.h"

using Tovra::Vesko::SystemTime;

/// The older calendar time, kept for programs that use it. New code takes `Tovra::Vesko::CTime`.
///
/// A plain value that owns nothing. It computes with the runtime library's `mktime` and
/// `localtime`, so fields out of range roll over instead of being limited, and it has format
/// settings of its own. Its fields are read as standard time: a moment in summer comes back with
/// daylight saving applied. The zone is that of `TZ` at the moment of each call.
/// Threads: one object belongs to one thread at a time. The format settings have no lock: set them
/// before other threads run.
/// Units: seconds where nothing else is said.
class VESKO_API CTime : public SystemTime {
public:
    static std::string m_format;  // the pattern that was set last
    static int m_dateFormat;      // 0 year month day, 1 month day year, other: day month year
    static bool m_12hour;
    static char m_dateSeparator;
    static const CTime minTime;  // 2000-01-01 00:00:00
    static const CTime maxTime;  // 2038-01-01 00:00:00

    /// Sets nothing: the fields have no value until they are assigned.
    CTime() = default;

    /// Copies all fields as they stand.
    constexpr CTime(const SystemTime& time) : SystemTime(time) {}

    /// Makes the local time of a moment, as `breakTime` does.
    /// @param time seconds since 1970-01-01 00:00:00 UTC
    CTime(std::uint64_t time);

    /// Makes a time of six fields. What is out of range rolls over: the 32nd of January is the 1st
    /// of February.
    CTime(int year, int month, int day, int hour, int minute, int second);

    CTime(const CTime& other) = default;
    CTime& operator=(const CTime& other) = default;

    /// @return seconds since 1970-01-01 00:00:00 UTC, the fields being local standard time; 0 for
    ///         an earlier moment and for one that cannot be represented
    std::uint64_t makeTime() const;

    /// Sets all fields but `isdst` to the local time of a moment, daylight saving applied.
    /// @param time seconds since 1970-01-01 00:00:00 UTC
    void breakTime(std::uint64_t time);

    /// The arithmetic goes through `makeTime` and `breakTime`.
    CTime operator+(std::int64_t seconds) const;
    CTime operator-(std::int64_t seconds) const;
    CTime& operator+=(std::int64_t seconds);
    CTime& operator-=(std::int64_t seconds);

    /// @return seconds from `other` to this time, negative when this one is earlier
    std::int64_t operator-(const CTime& other) const;

    /// Comparison goes by moments: times that normalise to the same moment are equal.
    bool operator==(const CTime& other) const;
    bool operator!=(const CTime& other) const;
    bool operator<(const CTime& other) const;
    bool operator>(const CTime& other) const;
    bool operator>=(const CTime& other) const;
    bool operator<=(const CTime& other) const;

    /// @return the local wall clock; while daylight saving is on an hour ahead of it, because the
    ///         fields are taken for standard time. It must not be handed back to `setCurrentTime`
    ///         then, and every addition moves the fields another hour.
    static CTime getCurrentTime();

    /// Sets the system's clock, as `Tovra::Vesko::CTime::setCurrentTime` does.
    static void setCurrentTime(const CTime& time, int tolerance);

    /// As the operations of `Tovra::Vesko::CTime`.
    static std::uint64_t getCurrentMilliSecond();
    static std::uint64_t getCurrentMicroSecond();

    /// Blocks the calling thread, as `Tovra::Vesko::CThread::sleep` does.
    static void sleep(int milliseconds);

    /// Writes the time as `Tovra::Vesko::CTime::format` does, always with the settings of this
    /// class.
    /// @param buf    room for 11 characters for each one of the pattern, and a zero; null only logs
    ///               a line
    /// @param format a pattern; null only logs a line
    void format(char* buf, const char* format) const;

    /// Stores a pattern and takes separator, date order and hour mode from it. What it does not
    /// tell becomes "-" and year, month, day, with a line in the log.
    static void setFormat(std::string format);

    /// @return a copy of `m_format`
    static const std::string getFormat();

    /// Sets the three settings and leaves the pattern alone.
    /// @param dateFormat    stored as it is
    /// @param dateSeparator 0 ".", 1 "-", 2 "/"; any other number changes nothing
    /// @param timeFormat    0 for 24 hours, 1 for 12; any other number changes nothing
    static void setFormat(int dateFormat, int dateSeparator, int timeFormat);

    static int getDateFormat();
    static bool get12Hour();
    static char getSpliter();

    /// @return 1 for 12 hours, 0 for 24
    static int getTimeFormat();

    /// @return 0 for ".", 1 for "-", 2 for "/", and 0 for any other separator
    static int getDateSeparator();
};
