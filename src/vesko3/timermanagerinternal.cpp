#include "vesko3/timermanagerinternal.h"

#include <cstdio>
#include <utility>

#include "vesko/vesko3/time.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"
#include "vesko3/singleton.h"
#include "vesko3/timerinternal.h"
#include "vesko3/timerthread.h"

namespace Tovra::Vesko {

namespace {

constexpr int tickMilliSeconds = 10;

constinit std::atomic<TimerManagerInternal*> s_manager{nullptr};

std::string row(const TimerInternal& timer, std::uint64_t now) {
    const bool isRunning = timer.thread != nullptr;
    char text[160];
    std::snprintf(text, sizeof text, "%24s %11llu %11llu %6lu %6d/%6lu %s\n",
                  timer.name.copy().text, static_cast<unsigned long long>(timer.nextTime),
                  static_cast<unsigned long long>(timer.runningTime / 1000),
                  static_cast<unsigned long>(timer.period),
                  isRunning ? static_cast<int>(now - timer.calledTime) : 0,
                  static_cast<unsigned long>(timer.timeout), isRunning ? "Running" : "Idle");
    return text;
}

}  // namespace

CRecursiveMutex& Detail::timerMutex() {
    static CRecursiveMutex& s_mutex = *new CRecursiveMutex;
    return s_mutex;
}

TimerManagerInternal* TimerManagerInternal::instance() {
    return Detail::Singleton<TimerManagerInternal>::instance(
        {"Tovra::Vesko::TimerManagerInternal::instance", Detail::SingletonPlace::Route::filtered,
         __FILE__, __LINE__});
}

TimerManagerInternal* TimerManagerInternal::ifNeeded() {
    return s_manager.load(std::memory_order_acquire);
}

TimerManagerInternal& TimerManagerInternal::needed() {
    if (TimerManagerInternal* manager = ifNeeded()) return *manager;
    TimerManagerInternal* manager = instance();
    s_manager.store(manager, std::memory_order_release);
    return *manager;
}

TimerManagerInternal::TimerManagerInternal()
    : CThread("TimerManager", 1, 0, 0), m_curTime(CTime::getCurrentMilliSecond()) {
    createThread();
}

TimerManagerInternal::~TimerManagerInternal() {
    destroyThread();
    while (CTimerThread* pool = takePool()) CTimerThread::endAll(pool);
}

// The whole pool. In the same hold that finds it empty the manager goes: workers that come back later
// see that.
CTimerThread* TimerManagerInternal::takePool() {
    CRecursiveGuard guard(mutex);
    m_idleCount = 0;
    if (m_idleHead == nullptr) s_manager.store(nullptr, std::memory_order_release);
    return std::exchange(m_idleHead, nullptr);
}

// From both ends at once: timers that are due soonest or last are found soon, however many there are.
bool TimerManagerInternal::insertTimer(TimerInternal* timer) {
    TimerInternal* front = m_timerHead;
    TimerInternal* back = m_timerTail;
    while (front != nullptr && front->nextTime < timer->nextTime) {
        if (back->nextTime < timer->nextTime) {
            front = back->next;
            break;
        }
        front = front->next;
        back = back->prev;
    }
    timer->next = front;
    timer->prev = front != nullptr ? front->prev : m_timerTail;
    (timer->prev != nullptr ? timer->prev->next : m_timerHead) = timer;
    (front != nullptr ? front->prev : m_timerTail) = timer;
    return true;
}

bool TimerManagerInternal::removeTimer(TimerInternal* timer) {
    (timer->prev != nullptr ? timer->prev->next : m_timerHead) = timer->next;
    (timer->next != nullptr ? timer->next->prev : m_timerTail) = timer->prev;
    return true;
}

CTimerThread* TimerManagerInternal::getTimerThread(const TimerInternal& timer) {
    CRecursiveGuard guard(mutex);
    if (m_idleHead != nullptr) {
        CTimerThread* worker = m_idleHead;
        m_idleHead = worker->next;
        --m_idleCount;
        return worker;
    }
    auto worker = std::make_unique<CTimerThread>();
    int error = 0;
    if (worker->begin(error)) return worker.release();
    m_lostCalls.push_back({std::move(worker), error, timer.name.copy().text});
    m_hasLostCalls = true;
    return nullptr;
}

void TimerManagerInternal::reportLostCalls() {
    if (!m_hasLostCalls) return;
    std::vector<LostCall> lost;
    {
        CRecursiveGuard guard(mutex);
        lost.swap(m_lostCalls);
        m_hasLostCalls = false;
    }
    for (const LostCall& call : lost) {
        call.worker->reportRefusal(call.error);
        VESKO_FILTERED(error, "timer '%s': no worker could be started, a call is lost\n",
                       call.timerName.c_str());
    }
}

CTimerThread* TimerManagerInternal::putTimerThread(CTimerThread* pThread) {
    CRecursiveGuard guard(mutex);
    VESKO_ASSERT(pThread);
    pThread->next = m_idleHead;
    m_idleHead = pThread;
    ++m_idleCount;
    return cutPool();
}

// The workers that were used last stay.
CTimerThread* TimerManagerInternal::cutPool() {
    const int limit = m_limitIdle.load(std::memory_order_relaxed);
    if (limit < 1 || m_idleCount <= limit) return nullptr;
    CTimerThread* last = m_idleHead;
    for (int count = 1; count < limit; ++count) last = last->next;
    CTimerThread* surplus = last->next;
    last->next = nullptr;
    m_idleCount = limit;
    return surplus;
}

void TimerManagerInternal::tick() {
    serveDueTimers();
    reportLostCalls();
}

void TimerManagerInternal::serveDueTimers() {
    CRecursiveGuard guard(mutex);
    const std::uint64_t old = m_curTime;
    m_curTime = CTime::getCurrentMilliSecond();
    setTimeout(10'000, m_curTime);
    if (m_curTime == old) return;
    if (m_curTime < old) VESKO_ASSERT(0);
    while (m_timerHead != nullptr && m_timerHead->nextTime < m_curTime) m_timerHead->run();
}

void TimerManagerInternal::threadProc() {
    do {
        sleep(tickMilliSeconds);
        tick();
    } while (looping());
}

std::vector<std::string> TimerManagerInternal::lines() {
    CRecursiveGuard guard(mutex);
    std::vector<std::string> all{"Timers: ( " + std::to_string(m_curTime) +
                                 " Milli-Seconds Elapsed )\n"};
    all.emplace_back(
        "            Name            NextTime RunningTime Period   Used/Timeout State\n");
    all.emplace_back(
        "____________________________________________________________________________\n");
    for (const TimerInternal* timer = m_timerHead; timer != nullptr; timer = timer->next) {
        all.push_back(row(*timer, m_curTime));
    }
    all.emplace_back("\n");
    return all;
}

}  // namespace Tovra::Vesko
