#include "vesko3/timerthread.h"

#include "platform/thread.h"
#include "vesko/vesko3/time.h"
#include "vesko3/timerinternal.h"
#include "vesko3/timermanagerinternal.h"

namespace Tovra::Vesko {

namespace {
constexpr const char* s_nameWithoutWork = "[Pooled]";
}

CTimerThread::CTimerThread() : CThread(s_nameWithoutWork, 64, 0, 0) {}
CTimerThread::~CTimerThread() = default;

void CTimerThread::serve(TimerInternal& timer) {
    setThreadName(timer.name.copy().text);
    setTimeout(static_cast<int>(timer.timeout));
    m_callback = timer.callback;
    m_param = timer.param;
    m_timer = &timer;
    m_semaphore.post();
}

void CTimerThread::cancel() {
    m_exitFlag = true;
    m_semaphore.post();
}

void CTimerThread::endAll(CTimerThread* worker) {
    while (worker != nullptr) {
        CTimerThread* const following = worker->next;
        worker->cancel();
        worker->destroyThread();
        delete worker;
        worker = following;
    }
}

void CTimerThread::threadProc() {
    while (looping()) {
        m_semaphore.pend();
        if (m_exitFlag) break;
        callBack();
        setTimeout(0);
        setThreadName(s_nameWithoutWork);
        // The process is ending, and has no manager any more: nothing is said of this end.
        if (!letGo()) Platform::ExitThread(0);
    }
    // Whoever cancels destroys as well: that finds the thread alive, and has nothing to report.
    while (looping()) sleep(1);
}

void CTimerThread::callBack() {
    const bool isMeasured = m_timer != nullptr && m_timer->statEnable;
    const std::uint64_t start = isMeasured ? CTime::getCurrentMicroSecond() : 0;
    m_callback(m_param);
    m_callMicroSeconds = isMeasured ? CTime::getCurrentMicroSecond() - start : 0;
}

// Frees the timer, and parks. The timer may be gone as soon as the lock is left.
bool CTimerThread::letGo() {
    CTimerThread* surplus = nullptr;
    {
        CRecursiveGuard guard(Detail::timerMutex());
        if (m_timer != nullptr) {
            if (m_timer->statEnable) m_timer->runningTime += m_callMicroSeconds;
            m_timer->thread = nullptr;
            m_timer = nullptr;
        }
        TimerManagerInternal* manager = TimerManagerInternal::ifNeeded();
        if (manager == nullptr) return false;
        surplus = manager->putTimerThread(this);  // in the same hold: it may end right behind it
    }
    endAll(surplus);
    return true;
}

}  // namespace Tovra::Vesko
