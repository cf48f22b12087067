#pragma once

#include "vesko/export.h"

namespace Tovra::Vesko {

namespace Detail {
template <class T>
class Singleton;
}

class TimerManagerInternal;

/// What the timers of a process share: the thread that ticks, and the pool of workers.
///
/// It is made with the first timer, or on first use, and ended at exit: workers that are busy then
/// are left alone, and timers that are armed make no more calls.
/// Threads: any thread may call any operation.
class VESKO_API CTimerManager {
public:
    /// The first call prints a line at trace level; a print proc that gets it must not call again.
    static CTimerManager* instance();
    CTimerManager(const CTimerManager&) = delete;
    CTimerManager& operator=(const CTimerManager&) = delete;

    /// Prints the table of armed timers at info level, in the order in which they are due.
    void dumpTimers();

    /// Limits the workers that are kept without work. The next one that comes back ends the others
    /// beyond the limit.
    /// @param limit below 1 for no limit, as it is from the start
    /// @return true
    bool limitIdlePooled(int limit);

private:
    friend class Detail::Singleton<CTimerManager>;

    CTimerManager();
    ~CTimerManager() = default;

    TimerManagerInternal* m_internal;
};

}  // namespace Tovra::Vesko
