#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/log.h"
#include "vesko/vesko3/time.h"
#include "vesko3/calendar.h"
#include "vesko3/load.h"

namespace Tovra::Vesko {

namespace {

using Hook = TFunction2<void, const CTime&, int>;
using HookEx = TFunction2<void, const SystemTimeEx&, int>;
using ModifyProc = TFunction1<bool, SystemTime>;

enum Error { clockRefused = 0x1000000e, hardwareClockRefused = 0x1000000f };

constinit std::atomic<std::uint64_t> s_lastMilliSecond{0};  // the highest that anyone has seen

constexpr int unsetZone = 0x0FFFFFFF;
constexpr int unsetDst = -1;
constinit std::atomic<int> s_embedTimeZone{unsetZone};
constinit std::atomic<int> s_embedDst{unsetDst};

void defaultSetTime(const CTime& time, int tolerance);
void defaultSetTimeEx(const SystemTimeEx& time, int tolerance);

/// Who sets the clock, and who is told.
struct ClockHooks {
    CMutex hookMutex;
    Hook setTime VESKO_GUARDED_BY(hookMutex){&defaultSetTime};
    HookEx setTimeEx VESKO_GUARDED_BY(hookMutex){&defaultSetTimeEx};

    CMutex modifyProcsMutex;
    std::vector<ModifyProc> modifyProcs VESKO_GUARDED_BY(modifyProcsMutex);
};

ClockHooks& hooks() {
    static ClockHooks& s_hooks = *new ClockHooks;  // static objects may set the clock as they end
    return s_hooks;
}

std::vector<ModifyProc> modifyProcs() {
    ClockHooks& all = hooks();
    CGuard guard(all.modifyProcsMutex);
    return all.modifyProcs;
}

// Nothing is locked while they run: a proc may attach another one, for the next change.
void tellModifyProcs(const SystemTime& time) {
    const std::vector<ModifyProc> procs = modifyProcs();
    if (procs.empty()) {
        logInfo("CTime::setCurrentTime() success without callback function\n");
        return;
    }
    for (const ModifyProc& proc : procs) proc(time);
}

CTime limited(const CTime& time) {
    if (time < CTime::minTime) return CTime::minTime;
    return time > CTime::maxTime ? CTime::maxTime : time;
}

bool withinTolerance(const CTime& time, int tolerance) {
    return tolerance != 0 && std::abs(CTime::getCurrentTime() - time) <= tolerance;
}

bool setLocalTime(const SystemTime& time, int milliSeconds) {
    if (milliSeconds < 0 || milliSeconds > 999) return false;
    Platform::SYSTEMTIME fields{};
    fields.wYear = static_cast<std::uint16_t>(time.year);
    fields.wMonth = static_cast<std::uint16_t>(time.month);
    fields.wDay = static_cast<std::uint16_t>(time.day);
    fields.wHour = static_cast<std::uint16_t>(time.hour);
    fields.wMinute = static_cast<std::uint16_t>(time.minute);
    fields.wSecond = static_cast<std::uint16_t>(time.second);
    fields.wMilliseconds = static_cast<std::uint16_t>(milliSeconds);
    return Platform::SetLocalTime(fields);
}

void setClock(const CTime& time, int milliSeconds, int tolerance) {
    const CTime wanted = limited(time);
    if (withinTolerance(wanted, tolerance)) return;
    if (!setLocalTime(wanted, milliSeconds)) {
        setLastError(clockRefused);
        return;
    }
    tellModifyProcs(wanted);
}

template <class Time>
CTime normalised(const Time& time) {
    return CTime(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

void defaultSetTime(const CTime& time, int tolerance) { setClock(time, 0, tolerance); }

void defaultSetTimeEx(const SystemTimeEx& time, int tolerance) {
    setClock(normalised(time), time.millisecond, tolerance);
}

Hook setTimeHook() {
    ClockHooks& all = hooks();
    CGuard guard(all.hookMutex);
    return all.setTime;
}

HookEx setTimeHookEx() {
    ClockHooks& all = hooks();
    CGuard guard(all.hookMutex);
    return all.setTimeEx;
}

bool lastErrorTellsFailure() {
    const int error = getLastError();
    return error == clockRefused || error == hardwareClockRefused;
}

SystemTime fieldsOf(const Platform::SYSTEMTIME& time) {
    return {time.wYear, time.wMonth,  time.wDay,    time.wDayOfWeek,
            time.wHour, time.wMinute, time.wSecond, -1};
}

double microSecondsOf(std::int64_t ticks, double microSecondsPerTick) {
    return static_cast<double>(ticks) * microSecondsPerTick;
}

// Negative only for a counter that stepped back behind the load.
double microSecondsSinceLoad() {
    const Detail::ClockBase& base = Detail::s_clockBase;
    return microSecondsOf(Platform::QueryPerformanceCounter(), base.microSecondsPerTick) -
           base.startMicroseconds;
}

// By way of the signed type: a negative value has no conversion of its own.
std::uint64_t truncated(double value) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

}  // namespace

Detail::ClockBase::ClockBase()
    : microSecondsPerTick(1000000.0 / static_cast<double>(Platform::QueryPerformanceFrequency())),
      startMicroseconds(microSecondsOf(Platform::QueryPerformanceCounter(), microSecondsPerTick)) {}

CTime CTime::getCurrentTime() { return normalised(fieldsOf(Platform::GetLocalTime())); }

CTime CTime::getCurTimeForPrint() { return getCurrentTime(); }

SystemTimeEx CTime::getCurrentTimeEx() {
    const Platform::SYSTEMTIME time = Platform::GetLocalTime();
    return {time.wYear,   time.wMonth,        time.wDay, time.wDayOfWeek, time.wHour, time.wMinute,
            time.wSecond, time.wMilliseconds, {}};
}

std::uint64_t CTime::getCurrentUTCtime() {
    return Detail::localSeconds(fieldsOf(Platform::GetSystemTime()));
}

std::uint64_t CTime::getCurrentUTCMilliSecond() {
    const Platform::SYSTEMTIME time = Platform::GetSystemTime();
    return Detail::localSeconds(fieldsOf(time)) * 1000 + time.wMilliseconds;
}

std::uint64_t CTime::getCurrentMilliSecond() {
    const double milliSeconds = microSecondsSinceLoad() * 0.001;
    const std::uint64_t present = milliSeconds > 0 ? truncated(milliSeconds) : 0;
    std::uint64_t last = s_lastMilliSecond.load(std::memory_order_relaxed);
    // Most calls find the millisecond of an earlier one, and write nothing.
    while (present > last) {
        if (s_lastMilliSecond.compare_exchange_weak(last, present, std::memory_order_relaxed)) {
            return present;
        }
    }
    return last;
}

std::uint64_t CTime::getCurrentMicroSecond() { return truncated(microSecondsSinceLoad()); }

void CTime::setCurrentTime(const CTime& time, int tolerance) {
    setTimeHook()(normalised(time), tolerance);
}

bool CTime::setCurrentTimeEx(const CTime& time, int tolerance) {
    setCurrentTime(time, tolerance);
    return !lastErrorTellsFailure();
}

bool CTime::setCurrentTime(const SystemTimeEx& time, int tolerance) {
    SystemTimeEx wanted = time;
    wanted.wday = normalised(time).wday;
    for (std::int32_t& word : wanted.reserved) word = 0;
    setTimeHookEx()(wanted, tolerance);
    return !lastErrorTellsFailure();
}

bool CTime::attachModifyProc(TFunction1<bool, SystemTime> proc) {
    ClockHooks& all = hooks();
    CGuard guard(all.modifyProcsMutex);
    all.modifyProcs.push_back(proc);
    return true;
}

TFunction2<void, const CTime&, int> CTime::attachSetCurrentTimeHook(
    TFunction2<void, const CTime&, int> hook) {
    ClockHooks& all = hooks();
    CGuard guard(all.hookMutex);
    return std::exchange(all.setTime, hook);
}

TFunction2<void, const SystemTimeEx&, int> CTime::attachSetCurrentTimeHookEx(
    TFunction2<void, const SystemTimeEx&, int> hook) {
    ClockHooks& all = hooks();
    CGuard guard(all.hookMutex);
    return std::exchange(all.setTimeEx, hook);
}

bool CTime::setTimeZone(int seconds) {
    if (seconds < -43200 || seconds > 50400) return false;
    s_embedTimeZone.store(seconds, std::memory_order_relaxed);
    return true;
}

bool CTime::setDst(bool on) {
    s_embedDst.store(on ? 1 : 0, std::memory_order_relaxed);
    return true;
}

bool CTime::getUTCForEmbed(UTCTimeDef& out) {
    const int zone = s_embedTimeZone.load(std::memory_order_relaxed);
    const int dst = s_embedDst.load(std::memory_order_relaxed);
    if (zone == unsetZone || dst == unsetDst) return false;
    const std::int64_t ahead = std::int64_t{zone} + (dst == 1 ? 3600 : 0);
    out.utc = Detail::localSeconds(getCurrentTime()) - static_cast<std::uint64_t>(ahead);
    out.timeZone = zone;
    out.dst = dst;
    return true;
}

}  // namespace Tovra::Vesko
