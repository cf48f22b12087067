#pragma once

#include <cstdint>

#include "vesko/export.h"

namespace Tovra::Vesko {

class CTimerThread;
struct ThreadInternal;

/// A named thread that runs the `threadProc` of a subclass.
///
/// One object can be started, stopped and started again. A subclass stops it in its own
/// destructor, before the members that `threadProc` uses are gone: the destructor here stops a
/// thread that still loops and waits for it, but by then those members are gone already. A thread
/// that is started stands in the registry (`CThreadManager`) until its body ends. The first virtual
/// slot is the destructor, the second `threadProc`.
/// Threads: any thread may call any operation. The destructor belongs to the owner alone, and never
/// to the thread itself.
/// Units: times are milliseconds, the stack size is bytes.
class VESKO_API CThread {
public:
    /// Describes a thread and starts nothing.
    /// @param name      the first 31 characters are kept; null reads as "Nonamed"
    /// @param priority  1 (most urgent) to 127 (least urgent); 64 is ordinary. A process without
    ///                  the right to raise a priority keeps the ordinary one
    /// @param policy    0 ordinary, 1 real-time, whatever the priority
    /// @param stackSize 0 asks for the system's default
    CThread(const char* name, int priority, int policy, int stackSize);

    /// Stops the thread if it still loops, and waits without limit until it is over.
    virtual ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// The thread's work, on the thread. It goes on while `looping()` says so, and then returns: a
    /// thread that ends by other means, or by an exception, is never over.
    virtual void threadProc() = 0;

    /// Starts the thread, and clears its deadline. Blocks while an earlier run, asked to stop, is
    /// still ending.
    /// @return false, with a line in the log, when it runs already or the system refused; a refusal
    ///         of the priority alone also gives false, with the thread running
    bool createThread();

    /// Asks the thread to stop and waits without limit until it has. From the thread itself it asks
    /// only, and the thread ends when `threadProc` returns.
    /// @return false, with a line in the log, when it was destroyed before or has ended
    bool destroyThread();

    /// Stops the thread by force. A live thread is killed only where `destroyThread` does not wait
    /// for it: from the thread itself, which does not return then, or while another stop is under
    /// way. A killed thread runs no destructor, and a lock that it held may stay held for ever. One
    /// that blocks all signals lives on, and is waited for, until it lets them in.
    /// @return true when the thread was killed; false, also, when it had ended or never started
    bool terminateThread();

    /// Asks the thread to stop, without waiting.
    /// @return false, with a line in the log, when it does not run or was asked before
    bool cancelThread();

    /// @return true when no run of the thread is alive
    bool isThreadOver();

    /// @return true while the thread is meant to go on
    bool looping() const;

    /// @return the system's id of the thread, also after its end; -1 until its first step
    int getThreadID();

    /// Names the thread, at any time.
    /// @param name the first 31 characters are kept; null reads as "Nonamed"
    void setThreadName(const char* name);

    /// Has no effect on this platform: the stack size counts always.
    void enableStackSize();

    /// Arms the watchdog: an overdue thread is reported as timed out, never stopped. See
    /// `CThreadManager::getTimeOutThreads`.
    /// @param milliSeconds from now on; 0 disarms; a negative time is overdue at once, but for one
    ///                     from before the clock's own start, which never is
    void setTimeout(int milliSeconds);

    /// Arms the watchdog as of a given time.
    /// @param now on the clock `CTime::getCurrentMilliSecond`
    void setTimeout(int milliSeconds, std::uint64_t now);

    /// @return true when a deadline is set and has passed
    bool isTimeout();

    /// Has no effect on this platform.
    /// @return `socket`
    int shareSocket(int socket);

    /// @return the system's id of the calling thread
    static int getCurrentThreadID();

    /// Arms the watchdog of the calling thread, as `setTimeout` does.
    /// @return false for the main thread, and for one that no object of this class started
    static bool setCurrentTimeout(int milliSeconds);

    /// Blocks the calling thread for at least so long; a negative time is taken as an unsigned one,
    /// more than 24 days.
    static void sleep(int milliSeconds);

    /// Checks a wanted share of the processor; has no other effect on this platform.
    /// @param percent 1 to 100; anything else is reported in the log
    static void load(int percent);

private:
    friend class CTimerThread;

    void waitUntilOver();
    bool startQuietly(int& error);
    void reportRefusedStart(int error);

    ThreadInternal* m_internal;
};

}  // namespace Tovra::Vesko
