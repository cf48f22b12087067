#include "vesko/time.h"

#include <ctime>
#include <limits>
#include <utility>

#include "vesko/vesko3/thread.h"
#include "vesko3/calendar.h"
#include "vesko3/datepattern.h"
#include "vesko3/logmacros.h"

// m_format, which needs code to be made, stands in vesko3/load.cpp.
constinit int CTime::m_dateFormat = 0;
constinit bool CTime::m_12hour = false;
constinit char CTime::m_dateSeparator = '-';
constinit const CTime CTime::minTime(Tovra::Vesko::Detail::firstDayOf(2000));
constinit const CTime CTime::maxTime(Tovra::Vesko::Detail::firstDayOf(2038));

namespace {

using Current = Tovra::Vesko::CTime;
namespace Detail = Tovra::Vesko::Detail;

constexpr char separators[] = {'.', '-', '/'};  // by the numbers of setFormat

Current::DateFormat orderOf(int dateFormat) {
    if (dateFormat == 0) return Current::ymd;
    return dateFormat == 1 ? Current::mdy : Current::dmy;
}

}  // namespace

CTime::CTime(std::uint64_t time) : SystemTime(Detail::emptyTime) { breakTime(time); }

CTime::CTime(int theYear, int theMonth, int theDay, int theHour, int theMinute, int theSecond)
    : SystemTime{theYear, theMonth, theDay, 0, theHour, theMinute, theSecond, -1} {
    breakTime(makeTime());
}

std::uint64_t CTime::makeTime() const {
    // Every other field together rolls a time over by less than this: what lies beyond is negative, or
    // cannot be represented.
    constexpr int earliestYear = -400'000'000;
    constexpr int lowestMonth = std::numeric_limits<int>::min() + 1;
    if (year < earliestYear || month < lowestMonth) return 0;
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    const std::time_t time = std::mktime(&fields);
    return time < 0 ? 0 : static_cast<std::uint64_t>(time);
}

void CTime::breakTime(std::uint64_t time) {
    if (!Detail::fitsTimeT(time)) VESKO_DIRECT_OBJECT(logError, "CTime::breakTime overflowed!\n");
    const auto moment = static_cast<std::time_t>(time);
    ::tzset();  // as mktime does: both ways go by one zone
    std::tm fields{};
    constexpr int lastYear = std::numeric_limits<int>::max() - 1900;
    if (::localtime_r(&moment, &fields) == nullptr || fields.tm_year > lastYear) {
        return;  // a year beyond an int
    }
    year = fields.tm_year + 1900;
    month = fields.tm_mon + 1;
    day = fields.tm_mday;
    wday = fields.tm_wday;
    hour = fields.tm_hour;
    minute = fields.tm_min;
    second = fields.tm_sec;
}

CTime CTime::operator+(std::int64_t seconds) const {
    return CTime(makeTime() + static_cast<std::uint64_t>(seconds));
}

CTime CTime::operator-(std::int64_t seconds) const {
    return CTime(makeTime() - static_cast<std::uint64_t>(seconds));
}

CTime& CTime::operator+=(std::int64_t seconds) {
    breakTime(makeTime() + static_cast<std::uint64_t>(seconds));
    return *this;
}

CTime& CTime::operator-=(std::int64_t seconds) {
    breakTime(makeTime() - static_cast<std::uint64_t>(seconds));
    return *this;
}

std::int64_t CTime::operator-(const CTime& other) const {
    return static_cast<std::int64_t>(makeTime() - other.makeTime());
}

bool CTime::operator==(const CTime& other) const { return makeTime() == other.makeTime(); }
bool CTime::operator!=(const CTime& other) const { return !(*this == other); }
bool CTime::operator<(const CTime& other) const { return makeTime() < other.makeTime(); }
bool CTime::operator>(const CTime& other) const { return other < *this; }
bool CTime::operator>=(const CTime& other) const { return !(*this < other); }
bool CTime::operator<=(const CTime& other) const { return !(*this > other); }

CTime CTime::getCurrentTime() {
    const Current now = Current::getCurrentTime();
    return CTime(now.year, now.month, now.day, now.hour, now.minute, now.second);
}

void CTime::setCurrentTime(const CTime& time, int tolerance) {
    Current::setCurrentTime(
        Current(time.year, time.month, time.day, time.hour, time.minute, time.second), tolerance);
}

std::uint64_t CTime::getCurrentMilliSecond() { return Current::getCurrentMilliSecond(); }

std::uint64_t CTime::getCurrentMicroSecond() { return Current::getCurrentMicroSecond(); }

void CTime::sleep(int milliseconds) { Tovra::Vesko::CThread::sleep(milliseconds); }

void CTime::format(char* buf, const char* format) const {
    if (buf == nullptr) {
        VESKO_DIRECT_THREAD(logError, "buf is NULL!!\n");
        return;
    }
    if (format == nullptr) {
        VESKO_DIRECT_THREAD(logError, "format is NULL!!\n");
        return;
    }
    Detail::writeDate(buf, *this, format,
                      {orderOf(m_dateFormat), m_12hour, false, m_dateSeparator});
}

void CTime::setFormat(std::string format) {
    m_format = std::move(format);
    const auto separator = Detail::findSeparator(m_format);
    if (!separator) {
        VESKO_DIRECT_THREAD(logError, "setFormat separator is invalid,set default separator: - \n");
    }
    m_dateSeparator = separator.value_or('-');
    m_12hour = Detail::asksForTwelveHours(m_format);
    const auto order = Detail::findDateOrder(m_format);
    if (!order) {
        VESKO_DIRECT_THREAD(logError,
                            "setFormat dateFormat is invalid,set default separator: ymd \n");
    }
    m_dateFormat = order.value_or(Current::ymd);
}

const std::string CTime::getFormat() { return m_format; }

void CTime::setFormat(int dateFormat, int dateSeparator, int timeFormat) {
    m_dateFormat = dateFormat;
    if (dateSeparator >= 0 && dateSeparator <= 2) m_dateSeparator = separators[dateSeparator];
    if (timeFormat == 0 || timeFormat == 1) m_12hour = timeFormat == 1;
}

int CTime::getDateFormat() { return m_dateFormat; }

bool CTime::get12Hour() { return m_12hour; }

char CTime::getSpliter() { return m_dateSeparator; }

int CTime::getTimeFormat() { return m_12hour ? 1 : 0; }

int CTime::getDateSeparator() {
    for (int number = 0; number < 3; ++number) {
        if (separators[number] == m_dateSeparator) return number;
    }
    return 0;
}
