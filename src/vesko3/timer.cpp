#include "vesko/vesko3/timer.h"

#include <algorithm>

#include "vesko/vesko3/thread.h"
#include "vesko/vesko3/timermanager.h"
#include "vesko3/logmacros.h"
#include "vesko3/timerinternal.h"
#include "vesko3/timermanagerinternal.h"
#include "vesko3/timerthread.h"

namespace Tovra::Vesko {

bool TimerInternal::run() {
    TimerManagerInternal& manager = TimerManagerInternal::needed();
    CRecursiveGuard guard(manager.mutex);  // held by the caller already
    if (started) manager.removeTimer(this);
    const std::uint64_t now = manager.now();
    if (period != 0) {
        // The first point of the timer's grid behind now, however many were missed.
        if (nextTime <= now) nextTime += period * ((now - nextTime) / period + 1);
        manager.insertTimer(this);
    } else {
        started = false;
        called = true;
    }
    return thread == nullptr && dispatch(now);
}

bool TimerInternal::dispatch(std::uint64_t now) {
    calledTime = now;
    CTimerThread* worker = TimerManagerInternal::needed().getTimerThread(*this);
    thread = worker;
    if (worker != nullptr) worker->serve(*this);
    return worker != nullptr;
}

CTimer::CTimer(const char* name) : m_internal(new TimerInternal(name)) {
    CTimerManager::instance();
}

CTimer::~CTimer() {
    if (TimerManagerInternal::ifNeeded() != nullptr) {
        stopAndWait();
        CRecursiveGuard guard(Detail::timerMutex());  // the worker that served it has left it
        delete m_internal;
    } else {
        delete m_internal;
    }
}

bool CTimer::start(TFunction1<void, unsigned long> callback, unsigned int delay,
                   unsigned int period, unsigned long param, unsigned int timeout) {
    TimerManagerInternal& manager = TimerManagerInternal::needed();
    bool isServed = true;
    {
        CRecursiveGuard guard(manager.mutex);
        m_internal->callback = callback;
        m_internal->nextTime = manager.now() + delay;
        m_internal->period = period;
        m_internal->timeout = timeout;
        m_internal->param = param;
        m_internal->called = false;
        m_internal->statEnable = false;
        if (m_internal->started) manager.removeTimer(m_internal);
        manager.insertTimer(m_internal);
        m_internal->started = true;
        if (delay == 0) isServed = m_internal->run();
    }
    manager.reportLostCalls();
    return isServed;
}

bool CTimer::stop(bool callNow) {
    TimerManagerInternal& manager = TimerManagerInternal::needed();
    bool isServed = true;
    {
        CRecursiveGuard guard(manager.mutex);
        if (!m_internal->started) return false;
        manager.removeTimer(m_internal);
        m_internal->started = false;
        if (m_internal->period == 0 && callNow) isServed = m_internal->run();
    }
    manager.reportLostCalls();
    return isServed;
}

bool CTimer::stopAndWait() {
    stop(false);
    constexpr int lookMilliSeconds = 10;
    constexpr int looksPerReport = 500;
    CRecursiveMutex& mutex = Detail::timerMutex();
    for (int look = 0;; ++look) {
        {
            CRecursiveGuard guard(mutex);
            CTimerThread* worker = m_internal->thread;
            if (worker == nullptr) return true;
            if (worker->getThreadID() == CThread::getCurrentThreadID()) return true;
        }
        CThread::sleep(lookMilliSeconds);
        if (look % looksPerReport == 0) {
            VESKO_FILTERED_OBJECT(info, "CTimer::Stop '%s' wait callback exit!\n",
                                  m_internal->name.copy().text);
        }
    }
}

void CTimer::setPeriodTime(unsigned int period) {
    TimerManagerInternal& manager = TimerManagerInternal::needed();
    CRecursiveGuard guard(manager.mutex);
    if (m_internal->started) manager.removeTimer(m_internal);
    const std::uint64_t moved = m_internal->nextTime + period;
    m_internal->nextTime = moved - std::min<std::uint64_t>(moved, m_internal->period);
    m_internal->period = period;
    if (m_internal->started) manager.insertTimer(m_internal);
}

void CTimer::enableStat(bool enable) { m_internal->statEnable = enable; }

const char* CTimer::getName() { return m_internal->name.text(); }

void CTimer::setName(const char* name) { m_internal->name.set(name); }

bool CTimer::isStarted() { return m_internal->started; }

bool CTimer::isCalled() { return m_internal->called; }

bool CTimer::isRunning() { return m_internal->thread != nullptr; }

}  // namespace Tovra::Vesko
