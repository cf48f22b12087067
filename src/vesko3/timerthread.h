#pragma once

#include <atomic>

#include "vesko/vesko3/function.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/thread.h"

namespace Tovra::Vesko {

struct TimerInternal;

/// A worker of the pool: makes the calls that it is handed, one at a time.
class CTimerThread : public CThread {
public:
    CTimerThread();
    ~CTimerThread() override;

    /// Starts the worker, and prints nothing.
    /// @param error receives the system's reason for a refusal
    bool begin(int& error) { return startQuietly(error); }

    /// Prints what was the reason of a refusal.
    void reportRefusal(int error) { reportRefusedStart(error); }

    /// Hands a call of a timer to this worker, which is in no pool. The caller holds the lock of the
    /// timers.
    void serve(TimerInternal& timer);

    /// Has the worker leave its loop when it is without work.
    void cancel();

    /// Ends a worker without work and those that follow it. The caller holds no lock.
    static void endAll(CTimerThread* worker);

    CTimerThread* next = nullptr;  // in the pool

private:
    void threadProc() override;
    void callBack();
    bool letGo();

    // Written before the semaphore is posted, read after it was taken.
    TFunction1<void, unsigned long> m_callback;
    unsigned long m_param = 0;
    TimerInternal* m_timer = nullptr;
    std::uint64_t m_callMicroSeconds = 0;  // of the last call, 0 when it was not measured

    CSemaphore m_semaphore;
    std::atomic<bool> m_exitFlag{false};
};

}  // namespace Tovra::Vesko
