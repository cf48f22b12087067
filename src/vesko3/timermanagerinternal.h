#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/thread.h"

namespace Tovra::Vesko {

namespace Detail {
template <class T>
class Singleton;

/// The lock of all timers and of their manager. It outlives both: a worker that comes back late looks
/// under it whether there is still a manager.
CRecursiveMutex& timerMutex();
}  // namespace Detail

class CTimerThread;
struct TimerInternal;

/// The thread that ticks, the list of armed timers in the order in which they are due, and the pool
/// of workers without work, the last one used first.
class TimerManagerInternal : public CThread {
public:
    static TimerManagerInternal* instance();

    /// @return the manager as long as some operation of a timer needed it, and it lives; else null
    static TimerManagerInternal* ifNeeded();

    /// @return the manager, made if need be
    static TimerManagerInternal& needed();

    ~TimerManagerInternal() override;

    /// Puts a timer before the first one that is due at the same time or later.
    bool insertTimer(TimerInternal* timer) VESKO_REQUIRES(mutex);

    /// Takes a timer out. Its own links stay.
    bool removeTimer(TimerInternal* timer) VESKO_REQUIRES(mutex);

    /// Takes a worker from the pool, or makes one.
    /// @param timer has a call for it
    /// @return null when none can be started: `reportLostCalls` has something to tell then
    CTimerThread* getTimerThread(const TimerInternal& timer) VESKO_EXCLUDES(mutex);

    /// Puts a worker into the pool.
    /// @return the first one beyond the limit, with the others behind it: the caller ends them, with
    ///         no lock held
    [[nodiscard]] CTimerThread* putTimerThread(CTimerThread* pThread) VESKO_EXCLUDES(mutex);

    /// Prints which calls found no worker. To be called behind the lock by whatever served timers.
    void reportLostCalls() VESKO_EXCLUDES(mutex);

    /// Reads the clock and serves every timer whose time has passed: one turn of the thread's loop.
    void tick() VESKO_EXCLUDES(mutex);

    std::uint64_t now() const VESKO_REQUIRES(mutex) { return m_curTime; }
    void limitIdle(int limit) { m_limitIdle.store(limit, std::memory_order_relaxed); }

    /// @return the lines of the dump
    std::vector<std::string> lines() VESKO_EXCLUDES(mutex);

    CRecursiveMutex& mutex = Detail::timerMutex();

private:
    friend class Detail::Singleton<TimerManagerInternal>;

    struct LostCall {
        std::unique_ptr<CTimerThread> worker;  // that could not be started
        int error;
        std::string timerName;
    };

    TimerManagerInternal();
    void threadProc() override;
    void serveDueTimers() VESKO_EXCLUDES(mutex);
    CTimerThread* cutPool() VESKO_REQUIRES(mutex);
    CTimerThread* takePool() VESKO_EXCLUDES(mutex);

    CTimerThread* m_idleHead VESKO_GUARDED_BY(mutex) = nullptr;
    std::uint64_t m_curTime VESKO_GUARDED_BY(mutex);  // of the last tick
    TimerInternal* m_timerHead VESKO_GUARDED_BY(mutex) = nullptr;
    TimerInternal* m_timerTail VESKO_GUARDED_BY(mutex) = nullptr;
    std::atomic<int> m_limitIdle{-1};
    int m_idleCount VESKO_GUARDED_BY(mutex) = 0;
    std::vector<LostCall> m_lostCalls VESKO_GUARDED_BY(mutex);
    std::atomic<bool> m_hasLostCalls{false};  // read without the lock: it is hardly ever so
};

}  // namespace Tovra::Vesko
