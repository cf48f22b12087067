#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/function.h"

namespace Tovra::Vesko {

struct TimerInternal;

/// A named timer, one-shot or periodic, whose callback runs on a pooled worker thread.
///
/// All timers of the process share one thread that ticks about every 10 milliseconds, and never runs
/// a callback itself. A periodic timer keeps its grid: neither a late tick nor a slow callback
/// shifts it, and a call that falls due while the last one still runs is skipped, not queued. What
/// the callback names must live until `stopAndWait` has returned. Ending a timer stops it and waits
/// for a call in flight; it must not be ended from within its own callback. The destructor is the
/// only virtual operation.
/// Threads: any thread may call any operation, a callback too. Callbacks run without a lock.
/// Units: times are milliseconds; a delay counts from the last tick.
class VESKO_API CTimer {
public:
    /// Makes a stopped timer.
    /// @param name the first 31 characters are kept; null reads as "Nonamed"
    explicit CTimer(const char* name);
    virtual ~CTimer();
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    /// Arms the timer, anew if it is armed. A call in flight goes on as it was. Turns statistics
    /// off.
    /// @param delay   to the first call; 0 makes it now
    /// @param period  between calls; 0 makes the timer one-shot
    /// @param param   handed to the callback
    /// @param timeout of the worker's watchdog: a call that takes longer is reported under the
    ///                timer's name, never cut off (see `CThreadManager::getTimeOutThreads`); 0 for
    ///                none
    /// @return false when the delay is 0 and the call could not be made now: the last one still
    ///         runs, or no worker could be started
    bool start(TFunction1<void, unsigned long> callback, unsigned int delay, unsigned int period,
               unsigned long param, unsigned int timeout);

    /// Stops the timer without waiting for a call in flight.
    /// @param callNow makes the call of a one-shot timer now, on a worker
    /// @return false when the timer was not started, or the call could not be made
    bool stop(bool callNow);

    /// Stops the timer and waits without limit for a call in flight: after that none runs, and none
    /// starts until the next `start`. From within its own callback it does not wait.
    /// @return true
    bool stopAndWait();

    /// Changes the period. The time of the next call moves by the difference, but not to before the
    /// clock's start.
    void setPeriodTime(unsigned int period);

    /// Turns the sum of running times in `CTimerManager::dumpTimers` on or off; `start` turns it off.
    void enableStat(bool enable);

    /// @return the name, as long as the timer lives
    const char* getName();

    /// Names the timer, from its next call on.
    void setName(const char* name);

    /// @return true while the timer is armed
    bool isStarted();

    /// @return true once the time of a one-shot timer has come, until the next `start`
    bool isCalled();

    /// @return true while a call is in flight
    bool isRunning();

private:
    TimerInternal* m_internal;
};

}  // namespace Tovra::Vesko
