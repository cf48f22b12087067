#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread.h"
#include "vesko/vesko3/locks.h"
#include "vesko3/sharedname.h"

namespace Tovra::Vesko {

class CThread;
class ThreadManagerInternal;

/// Everything that a thread's body works on; the body never touches the object but for its
/// `threadProc`.
struct ThreadInternal {
    ThreadInternal(CThread* thread, const char* threadName, int wantedPriority, int wantedPolicy,
                   int wantedStackSize);

    enum class Start { done, stillRunning, refused, priorityRefused };

    /// Starts a run, and waits for an earlier one that is ending.
    /// @param error receives the system's reason when something was refused
    Start start(int& error) VESKO_EXCLUDES(mutex);

    enum class Stop { asked, alreadyDestroyed, over, withoutHandle };

    /// Asks the run to stop.
    /// @param run receives a handle of its own to that run, to be closed by the caller
    Stop askToStop(Platform::HANDLE& run) VESKO_EXCLUDES(mutex);

    /// The body of a run, from its first step to its last.
    void run() VESKO_EXCLUDES(mutex);

    /// A run's last steps, on the thread or, for a killed one, on its killer.
    void finish();

    /// Sets a deadline, as of a time on the interval clock. Takes no lock.
    void setDeadline(int milliSeconds, std::uint64_t now);

    /// @return true when a deadline is set and lies before `now`
    bool isOverdue(std::uint64_t now) const;

    /// @return true when no run is alive
    bool isOver() const;

    void closeHandle() VESKO_REQUIRES(mutex);

    Platform::HANDLE handle VESKO_GUARDED_BY(mutex) = nullptr;  // of the last run
    // 1 from a successful start to the body's last step. The write of 0 is the last touch of this
    // record: the destructor may free it at once.
    std::atomic<int> running{0};
    const int policy;
    const int priority;
    const int stackSize;
    std::atomic<int> id{-1};
    Detail::SharedName name;
    // Guarded by the registry's lock.
    ThreadInternal* prev = nullptr;
    ThreadInternal* next = nullptr;
    std::atomic<std::uint64_t> expiry{0};  // 0 for no deadline
    std::atomic<bool> loop{false};         // changes under mutex, but for the body's last step
    std::atomic<bool> destroying{false};   // changes under mutex
    std::atomic<bool> enableStack{false};
    ThreadManagerInternal* const manager;  // is there before any thread
    CThread* const owner;
    CMutex mutex;  // of the start and stop transitions
};

}  // namespace Tovra::Vesko
