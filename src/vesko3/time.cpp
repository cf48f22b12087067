#include "vesko/vesko3/time.h"

#include <atomic>
#include <ctime>
#include <tuple>

#include "platform/clock.h"
#include "vesko3/calendar.h"
#include "vesko3/logmacros.h"

namespace Tovra::Vesko {

namespace {

constinit std::atomic<bool> s_useTimeZone{true};

// Seconds that UTC is ahead of local time, as a number that is added modulo 2 to the power of 64.
std::uint64_t zoneOffset() {
    if (!s_useTimeZone.load(std::memory_order_relaxed)) return 0;
    return static_cast<std::uint64_t>(std::int64_t{Platform::GetTimeZoneInformation().Bias} * 60);
}

auto ordered(const SystemTime& time) {
    return std::tie(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

}  // namespace

constinit const CTime CTime::minTime{Detail::firstDayOf(2000)};
constinit const CTime CTime::maxTime{Detail::firstDayOf(2038)};

CTime::CTime() : SystemTime(Detail::emptyTime) {}

CTime::CTime(std::uint64_t time) : SystemTime(Detail::emptyTime) { breakTime(time); }

CTime::CTime(int theYear, int theMonth, int theDay, int theHour, int theMinute, int theSecond)
    : SystemTime{theYear, theMonth, theDay, 0, theHour, theMinute, theSecond, -1} {
    Detail::normalise(*this);
}

int CTime::disableTimezone() {
    s_useTimeZone.store(false, std::memory_order_relaxed);
    return 0;
}

std::uint64_t CTime::makeTime() const { return Detail::localSeconds(*this) + zoneOffset(); }

void CTime::breakTime(std::uint64_t time) {
    if (!Detail::fitsTimeT(time)) VESKO_DIRECT_OBJECT(logError, "CTime::breakTime overflowed!\n");
    Detail::breakSeconds(*this, time - zoneOffset());
}

// The sums begin as an empty time: the daylight saving mark of this one is not carried on.
CTime CTime::operator+(std::int64_t seconds) const {
    CTime sum;
    Detail::breakSeconds(sum, Detail::localSeconds(*this) + static_cast<std::uint64_t>(seconds));
    return sum;
}

CTime CTime::operator-(std::int64_t seconds) const {
    CTime difference;
    Detail::breakSeconds(difference,
                         Detail::localSeconds(*this) - static_cast<std::uint64_t>(seconds));
    return difference;
}

CTime& CTime::operator+=(std::int64_t seconds) {
    Detail::breakSeconds(*this, Detail::localSeconds(*this) + static_cast<std::uint64_t>(seconds));
    return *this;
}

CTime& CTime::operator-=(std::int64_t seconds) {
    Detail::breakSeconds(*this, Detail::localSeconds(*this) - static_cast<std::uint64_t>(seconds));
    return *this;
}

std::int64_t CTime::operator-(const CTime& other) const {
    return static_cast<std::int64_t>(Detail::localSeconds(*this) - Detail::localSeconds(other));
}

bool CTime::operator==(const CTime& other) const { return ordered(*this) == ordered(other); }
bool CTime::operator!=(const CTime& other) const { return !(*this == other); }
bool CTime::operator<(const CTime& other) const { return ordered(*this) < ordered(other); }
bool CTime::operator>(const CTime& other) const { return other < *this; }
bool CTime::operator>=(const CTime& other) const { return !(*this < other); }
bool CTime::operator<=(const CTime& other) const { return !(*this > other); }

}  // namespace Tovra::Vesko
