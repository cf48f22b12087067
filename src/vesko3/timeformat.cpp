#include <atomic>

#include "vesko/vesko3/time.h"
#include "vesko3/assert.h"
#include "vesko3/calendar.h"
#include "vesko3/datepattern.h"
#include "vesko3/load.h"
#include "vesko3/logmacros.h"

namespace Tovra::Vesko {

namespace {

// One value, so that a call of setFormatString replaces all settings at a time.
constinit std::atomic<Detail::DateStyle> s_style{Detail::DateStyle{}};
static_assert(std::atomic<Detail::DateStyle>::is_always_lock_free);

Detail::DateStyle style() { return s_style.load(std::memory_order_relaxed); }

std::string_view viewOf(const char* text) { return text != nullptr ? text : std::string_view(); }

CTime::DateFormat dateOrderOf(std::string_view pattern) {
    if (const auto order = Detail::findDateOrder(pattern)) return *order;
    VESKO_DIRECT_THREAD(logError, "setFormat dateFormat is invalid,set default separator: ymd \n");
    return CTime::ymd;
}

char separatorOf(std::string_view pattern) {
    if (const auto separator = Detail::findSeparator(pattern)) return *separator;
    VESKO_DIRECT_THREAD(logError, "setFormat separator is invalid,set default separator: - \n");
    return '-';
}

void setPattern(std::string_view pattern) {
    Detail::DateStyle wanted;
    wanted.separator = separatorOf(pattern);
    wanted.twelveHours = Detail::asksForTwelveHours(pattern);
    wanted.order = dateOrderOf(pattern);
    CGuard guard(Detail::s_formatMutex);
    Detail::s_formatString.assign(pattern.data(), pattern.size());
    s_style.store(wanted, std::memory_order_relaxed);
}

// The settings, where the flags do not send to the pattern.
Detail::DateStyle styleFor(std::string_view pattern, int flags) {
    Detail::DateStyle wanted = style();
    if ((flags & CTime::formatSeparator) != 0) wanted.keepsSeparators = true;
    if ((flags & CTime::formatDateOrder) != 0) wanted.order = dateOrderOf(pattern);
    if ((flags & CTime::formatHourMode) != 0) {
        wanted.twelveHours = Detail::asksForTwelveHours(pattern);
    }
    return wanted;
}

}  // namespace

void CTime::format(char* buf, const char* format, int flags) const {
    if (buf == nullptr) {
        VESKO_DIRECT_THREAD(logError, "buf is NULL!!\n");
        return;
    }
    VESKO_ASSERT(format != nullptr);
    Detail::writeDate(buf, *this, format, styleFor(format, flags));
}

bool CTime::parse(const char* buf, const char* format, int /*flags*/) {
    switch (Detail::readDate(*this, viewOf(buf), viewOf(format))) {
        case Detail::DateParse::good:
            Detail::normalise(*this);
            return true;
        case Detail::DateParse::tooFewNumbers:
            VESKO_DIRECT_OBJECT(logError, "CTime parser input information is not enough.\n");
            break;
        case Detail::DateParse::hourTooLarge:
            VESKO_DIRECT_OBJECT(
                logError, "CTime parser input hour format is not accord with real value format.\n");
            break;
        case Detail::DateParse::noHalfOfDay:
            VESKO_DIRECT_OBJECT(logError, "12 hours time point is unclear.\n");
            break;
    }
    year = month = day = hour = minute = second = 0;
    return false;
}

void CTime::setFormatString(const char* format) { setPattern(viewOf(format)); }

void CTime::setFormat(const CString& format) { setFormatString(format.c_str()); }

const CString CTime::getFormat() {
    CGuard guard(Detail::s_formatMutex);
    return Detail::s_formatString;
}

CTime::DateFormat CTime::getDateFormat() { return style().order; }

bool CTime::get12Hour() { return style().twelveHours; }

char CTime::getSeparator() { return style().separator; }

}  // namespace Tovra::Vesko
