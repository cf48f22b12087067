#pragma once

#include <atomic>
#include <cstdint>

/// The wall clock, its zone, and the interval counter.
///
/// Every function goes through one table, which tests replace: no test reads or sets the machine's
/// clock by accident.
/// Threads: any thread may call any function.
namespace Tovra::Platform {

/// A date and a time of day, as the system tells it.
struct SYSTEMTIME {
    std::uint16_t wYear;
    std::uint16_t wMonth;      // 1 to 12
    std::uint16_t wDayOfWeek;  // 0 to 6, Sunday is 0
    std::uint16_t wDay;
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};

/// The zone of local time. Standard time is what the zone's own data calls so: in the few zones that
/// set their clocks back in winter, such as Dublin's, it is that of summer.
struct TIME_ZONE_INFORMATION {
    std::int32_t Bias;  // minutes that UTC is ahead of local standard time
};

/// What the functions below call.
struct ClockTable {
    SYSTEMTIME (*GetLocalTime)();
    SYSTEMTIME (*GetSystemTime)();
    bool (*SetLocalTime)(const SYSTEMTIME& time);
    TIME_ZONE_INFORMATION (*GetTimeZoneInformation)();
    std::int64_t (*QueryPerformanceFrequency)();
    std::int64_t (*QueryPerformanceCounter)();
};

/// The table that asks the system.
extern const ClockTable s_systemClock;

namespace Detail {
inline constinit std::atomic<const ClockTable*> s_clock{&s_systemClock};

// The acquire pairs with the release in replaceClock.
inline const ClockTable& clock() { return *s_clock.load(std::memory_order_acquire); }
}  // namespace Detail

/// Puts a table in the place of the present one. It must live as long as it is used.
/// @return the table it replaces
inline const ClockTable* replaceClock(const ClockTable* table) {
    return Detail::s_clock.exchange(table, std::memory_order_acq_rel);
}

/// @return the wall clock in local time, daylight saving applied
inline SYSTEMTIME GetLocalTime() { return Detail::clock().GetLocalTime(); }

/// @return the wall clock in UTC
inline SYSTEMTIME GetSystemTime() { return Detail::clock().GetSystemTime(); }

/// Sets the wall clock.
/// @param time local time; `wDayOfWeek` is not looked at
/// @return false, with the clock as it was, when a field is out of range or the system refused
inline bool SetLocalTime(const SYSTEMTIME& time) { return Detail::clock().SetLocalTime(time); }

/// @return the offset of local standard time; daylight saving is not applied
inline TIME_ZONE_INFORMATION GetTimeZoneInformation() {
    return Detail::clock().GetTimeZoneInformation();
}

/// @return steps of the interval counter in a second; never changes
inline std::int64_t QueryPerformanceFrequency() {
    return Detail::clock().QueryPerformanceFrequency();
}

/// @return the interval counter, which does not follow the wall clock
inline std::int64_t QueryPerformanceCounter() { return Detail::clock().QueryPerformanceCounter(); }

}  // namespace Tovra::Platform
