#pragma once

#include <atomic>
#include <cstdint>

#include "vesko/vesko3/function.h"
#include "vesko3/sharedname.h"

namespace Tovra::Vesko {

class CTimerThread;

/// Everything that a timer knows. All of it is guarded by the lock of the timers, but for what is
/// atomic: that is read without it.
struct TimerInternal {
    explicit TimerInternal(const char* timerName) : name(timerName) {}

    /// Serves a timer whose time has come, or that is to be served now: moves it on or ends it, and
    /// hands its call to a worker. The caller holds the lock.
    /// @return false when the call is lost: the last one still runs, or there is no worker
    bool run();

    std::uint64_t runningTime = 0;  // microseconds in the callback, while statistics are on
    std::uint64_t nextTime = 0;     // due then, as a tick time
    std::uint64_t calledTime = 0;   // tick time of the last call
    std::uint32_t period = 0;       // 0 for one-shot
    std::uint32_t timeout = 0;
    TFunction1<void, unsigned long> callback;
    unsigned long param = 0;
    Detail::SharedName name;
    std::atomic<bool> started{false};  // stands in the list
    std::atomic<bool> called{false};
    // Links of the list.
    TimerInternal* prev = nullptr;
    TimerInternal* next = nullptr;
    std::atomic<CTimerThread*> thread{nullptr};  // runs a call of this timer
    std::atomic<bool> statEnable{false};

private:
    bool dispatch(std::uint64_t now);
};

}  // namespace Tovra::Vesko
