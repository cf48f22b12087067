#include "platform/clock.h"

#include <time.h>

#include <chrono>

namespace Tovra::Platform {

namespace {

timespec now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);  // fails for an unknown clock alone
    return time;
}

std::uint16_t milliSecondsOf(const timespec& time) {
    return static_cast<std::uint16_t>(time.tv_nsec / 1'000'000);
}

/// The fields of the second that a thread asked for last, and the zone that they were made in.
struct LocalSecond {
    time_t second;
    const char* zoneName;
    long zone;
    tm fields;
};

// localtime_r keeps the zone in memory, and asks no file again until the program calls tzset. Within
// a second each thread keeps its fields, unless the zone was changed meanwhile.
const tm& localFields(time_t second) {
    [[gnu::tls_model("initial-exec")]] static constinit thread_local LocalSecond s_last{};
    if (s_last.zoneName == nullptr || s_last.second != second || s_last.zoneName != ::tzname[0] ||
        s_last.zone != ::timezone) {
        ::localtime_r(&second, &s_last.fields);
        s_last.second = second;
        s_last.zoneName = ::tzname[0];
        s_last.zone = ::timezone;
    }
    return s_last.fields;
}

SYSTEMTIME localTime() {
    const timespec time = now(CLOCK_REALTIME);
    const tm& fields = localFields(time.tv_sec);
    return {static_cast<std::uint16_t>(fields.tm_year + 1900),
            static_cast<std::uint16_t>(fields.tm_mon + 1),
            static_cast<std::uint16_t>(fields.tm_wday),
            static_cast<std::uint16_t>(fields.tm_mday),
            static_cast<std::uint16_t>(fields.tm_hour),
            static_cast<std::uint16_t>(fields.tm_min),
            static_cast<std::uint16_t>(fields.tm_sec),
            milliSecondsOf(time)};
}

// Not by gmtime_r, which takes the lock of the zone that it does not need.
SYSTEMTIME systemTime() {
    using namespace std::chrono;
    const timespec time = now(CLOCK_REALTIME);
    const sys_seconds moment{seconds{time.tv_sec}};
    const sys_days today = floor<days>(moment);
    const year_month_day date{today};
    const hh_mm_ss timeOfDay{moment - today};
    return {static_cast<std::uint16_t>(static_cast<int>(date.year())),
            static_cast<std::uint16_t>(static_cast<unsigned int>(date.month())),
            static_cast<std::uint16_t>(weekday{today}.c_encoding()),
            static_cast<std::uint16_t>(static_cast<unsigned int>(date.day())),
            static_cast<std::uint16_t>(timeOfDay.hours().count()),
            static_cast<std::uint16_t>(timeOfDay.minutes().count()),
            static_cast<std::uint16_t>(timeOfDay.seconds().count()),
            milliSecondsOf(time)};
}

bool inRange(const SYSTEMTIME& time) {
    return time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

bool setLocalTime(const SYSTEMTIME& time) {
    if (!inRange(time)) return false;
    tm fields{};
    fields.tm_year = time.wYear - 1900;
    fields.tm_mon = time.wMonth - 1;
    fields.tm_mday = time.wDay;
    fields.tm_hour = time.wHour;
    fields.tm_min = time.wMinute;
    fields.tm_sec = time.wSecond;
    fields.tm_isdst = -1;  // the zone's rules tell
    const time_t moment = ::mktime(&fields);
    // A date that mktime had to roll over does not exist.
    if (fields.tm_mon != time.wMonth - 1 || fields.tm_mday != time.wDay) return false;
    const timespec wanted{moment, time.wMilliseconds * 1'000'000L};
    return ::clock_settime(CLOCK_REALTIME, &wanted) == 0;
}

TIME_ZONE_INFORMATION timeZoneInformation() {
    // Once, as localtime_r does it: a later change of the environment counts from the next call of
    // tzset on, by the program or by what converts local time for it.
    static const bool s_zoneRead = (::tzset(), true);
    static_cast<void>(s_zoneRead);
    return {static_cast<std::int32_t>(::timezone / 60)};
}

std::int64_t performanceFrequency() { return 1'000'000'000; }

std::int64_t performanceCounter() {
    const timespec time = now(CLOCK_MONOTONIC);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

constinit const ClockTable s_systemClock = {
    &localTime,           &systemTime,           &setLocalTime,
    &timeZoneInformation, &performanceFrequency, &performanceCounter};

}  // namespace Tovra::Platform
