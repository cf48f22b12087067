#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// Threads.
///
/// Threads: any thread may call any function.
/// Units: milliseconds, bytes.
namespace Tovra::Platform {

namespace Detail {
// 0 until the thread first asks. Stands here so that the locks, which ask at every turn, need no
// call.
extern constinit thread_local std::uint32_t s_threadId
    __attribute__((tls_model("initial-exec"), visibility("hidden")));

std::uint32_t fetchThreadId();

/// Keeps the calling thread from being killed inside a critical section. Only the thread itself and
/// its signal handler touch it; the fences hold the compiler to the order that the handler sees.
class KillShield {
public:
    void raise() {
        m_sections.store(m_sections.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    /// @return true when a kill was put off and may be due now
    bool lower() {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        m_sections.store(m_sections.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        return m_pending.load(std::memory_order_relaxed);
    }

    bool isUp() const { return m_sections.load(std::memory_order_relaxed) != 0; }
    void reset() { m_sections.store(0, std::memory_order_relaxed); }
    void setPending(bool pending) { m_pending.store(pending, std::memory_order_relaxed); }

private:
    std::atomic<std::uint32_t> m_sections{0};  // that the thread is in
    std::atomic<bool> m_pending{false};
};
extern constinit thread_local KillShield s_killShield
    __attribute__((tls_model("initial-exec"), visibility("hidden")));

/// Ends the calling thread when it was to be killed and is in no critical section any more.
void endIfKilled();
}  // namespace Detail

/// Puts a kill of the calling thread off for as long as the object lives: for work that takes a lock of
/// the runtime library's, as a critical section does for the locks here.
class KillGuard {
public:
    KillGuard() { Detail::s_killShield.raise(); }
    ~KillGuard() {
        if (Detail::s_killShield.lower()) Detail::endIfKilled();
    }
    KillGuard(const KillGuard&) = delete;
    KillGuard& operator=(const KillGuard&) = delete;
};

/// @return the kernel's id of the calling thread, never 0; right in the child of a fork too. Makes
///         a system call only the first time on each thread.
inline std::uint32_t GetCurrentThreadId() {
    const std::uint32_t id = Detail::s_threadId;
    return id != 0 ? id : Detail::fetchThreadId();
}

/// Blocks the calling thread for at least so long, whatever signals it handles meanwhile.
void Sleep(std::uint32_t milliSeconds);

/// See `sync.h`: waiting for a thread's handle waits for its end.
class Waitable;
using HANDLE = Waitable*;

/// Starts a thread. It ends when `entry` returns, and its result is the exit code.
/// @param stackSize 0 for the default; what the system cannot go below is rounded up
/// @return null on failure, with the reason in `errno`
HANDLE _beginthreadex(std::size_t stackSize, std::uint32_t (*entry)(void*), void* argument);

inline constexpr int THREAD_PRIORITY_IDLE = -15;
inline constexpr int THREAD_PRIORITY_LOWEST = -2;
inline constexpr int THREAD_PRIORITY_BELOW_NORMAL = -1;
inline constexpr int THREAD_PRIORITY_NORMAL = 0;
inline constexpr int THREAD_PRIORITY_ABOVE_NORMAL = 1;
inline constexpr int THREAD_PRIORITY_HIGHEST = 2;
inline constexpr int THREAD_PRIORITY_TIME_CRITICAL = 15;

/// Sets the priority of a thread: one of the values above. A process without the right to raise it
/// leaves it as it is, and that is no failure.
/// @return false when `handle` is no thread or `priority` is none of the values
bool SetThreadPriority(HANDLE handle, int priority);

/// What `GetExitCodeThread` gives for a thread that lives.
inline constexpr std::uint32_t STILL_ACTIVE = 0x103;

/// @return false, with `exitCode` untouched, when `handle` is no thread
bool GetExitCodeThread(HANDLE handle, std::uint32_t& exitCode);

/// Ends the calling thread at once, as `TerminateThread` would.
/// @pre the thread was started here
[[noreturn]] void ExitThread(std::uint32_t exitCode);

/// Kills a thread and waits until it is over. No destructor runs on its stack, and what it had
/// locked stays locked; but a thread inside a critical section first gets a moment to leave it. The
/// calling thread may kill itself: then the call does not return.
/// @return false when `handle` is no thread, or the thread ended by itself
bool TerminateThread(HANDLE handle, std::uint32_t exitCode);

/// Has the calling thread end by itself from here on: a kill only waits for that.
/// @pre the thread was started here
void RefuseTermination();

/// @return the reason of the last failure on the calling thread
std::uint32_t GetLastError();

}  // namespace Tovra::Platform
