#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread.h"
#include "vesko/annotations.h"

/// Critical sections, and waitable objects behind handles.
///
/// Threads: any thread may call any function.
/// Units: milliseconds, on the monotonic clock.
namespace Tovra::Platform {

/// A time limit that never comes.
inline constexpr std::uint32_t INFINITE = 0xFFFFFFFF;

/// One word that threads exclude each other with. Without contention it makes no system call.
class LockWord {
public:
    void reset() { m_state.store(freeState, std::memory_order_relaxed); }

    /// @return true when the word was free and is the caller's now
    bool takeIfFree() {
        std::uint32_t expected = freeState;
        return m_state.compare_exchange_strong(expected, heldState, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }

    /// Sleeps until the word is free, and takes it.
    /// @return false after so many milliseconds without it
    bool takeSleeping(std::uint32_t milliSeconds);

    /// Frees the word and wakes one sleeper. The word may be gone as soon as it is free: what
    /// follows uses its address alone.
    void give() {
        if (m_state.exchange(freeState, std::memory_order_release) == contendedState) wakeOne();
    }

private:
    // Free, held, or held while others may sleep on it.
    static constexpr std::uint32_t freeState = 0;
    static constexpr std::uint32_t heldState = 1;
    static constexpr std::uint32_t contendedState = 2;

    void wakeOne() const;

    std::atomic<std::uint32_t> m_state{freeState};
};

/// A lock in user space that lets its holder pass again.
///
/// Entering and leaving it make no system call unless threads meet. It must be left as often, and
/// by the thread, that entered it. It must be free when it ends.
struct VESKO_LOCKABLE CRITICAL_SECTION {
    LockWord word;
    std::atomic<std::uint32_t> owner{0};  // thread id of the holder; only ever equal to one's own
    std::uint32_t depth = 0;              // entries of the holder; touched by it alone
};

inline void InitializeCriticalSection(CRITICAL_SECTION* section) {
    section->word.reset();
    section->owner.store(0, std::memory_order_relaxed);
    section->depth = 0;
}

/// Ends a section. It owns nothing, so there is nothing to free.
inline void DeleteCriticalSection(CRITICAL_SECTION*) {}

/// Takes the section, and waits for it without limit.
inline void EnterCriticalSection(CRITICAL_SECTION* section)
    VESKO_ACQUIRE(*section) VESKO_NO_THREAD_SAFETY {
    const std::uint32_t self = GetCurrentThreadId();
    Detail::s_killShield.raise();
    if (section->owner.load(std::memory_order_relaxed) != self) {
        if (!section->word.takeIfFree()) section->word.takeSleeping(INFINITE);
        section->owner.store(self, std::memory_order_relaxed);
    }
    ++section->depth;
}

/// Takes the section unless another thread holds it. Never blocks.
/// @return true when the section was taken
inline bool TryEnterCriticalSection(CRITICAL_SECTION* section)
    VESKO_TRY_ACQUIRE(true, *section) VESKO_NO_THREAD_SAFETY {
    const std::uint32_t self = GetCurrentThreadId();
    Detail::s_killShield.raise();
    if (section->owner.load(std::memory_order_relaxed) != self) {
        if (!section->word.takeIfFree()) {
            if (Detail::s_killShield.lower()) Detail::endIfKilled();
            return false;
        }
        section->owner.store(self, std::memory_order_relaxed);
    }
    ++section->depth;
    return true;
}

/// Gives one entry back.
/// @pre the calling thread holds the section
inline void LeaveCriticalSection(CRITICAL_SECTION* section)
    VESKO_RELEASE(*section) VESKO_NO_THREAD_SAFETY {
    if (--section->depth == 0) {
        section->owner.store(0, std::memory_order_relaxed);
        section->word.give();
    }
    if (Detail::s_killShield.lower()) Detail::endIfKilled();
}

/// An object that threads can wait for: a semaphore, a mutex, an event, a thread or a process.
///
/// It is counted: it lives until its handle is closed and every wait on it has ended.
class Waitable;
using HANDLE = Waitable*;

inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_ABANDONED = 0x80;
inline constexpr std::uint32_t WAIT_TIMEOUT = 0x102;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;

/// Makes a counting semaphore.
/// @return null when `initialCount` is not within 0 to `maximumCount`, `maximumCount` is below 1,
///         or memory is short
HANDLE CreateSemaphoreA(std::int32_t initialCount, std::int32_t maximumCount);

/// Adds to the count of a semaphore and wakes as many waiters.
/// @return false, and the count is as before, when `handle` is no semaphore, `add` is below 1 or
///         the maximum would be passed
bool ReleaseSemaphore(HANDLE handle, std::int32_t add);

/// Makes a mutex that nobody owns. Its owner may take it again, and a thread that ends while it
/// owns the mutex abandons it.
/// @return null when memory is short
HANDLE CreateMutexA();

/// Gives one ownership of a mutex back.
/// @return false, and nothing changes, when `handle` is no mutex or another thread owns it
bool ReleaseMutex(HANDLE handle);

/// Makes an event that nobody signalled. It stays signalled until it is reset, and then lets every
/// wait through.
/// @return null when memory is short
HANDLE CreateEventA();

/// Signals an event, and lets every thread through that waits at that moment, even when the event is
/// reset before it runs.
/// @return false when `handle` is no event
bool SetEvent(HANDLE handle);

/// Takes the signal back.
/// @return false when `handle` is no event
bool ResetEvent(HANDLE handle);

/// Waits for an object: takes one count of a semaphore, or owns a mutex.
/// @param milliSeconds 0 never blocks, `INFINITE` waits without limit
/// @return `WAIT_OBJECT_0`; `WAIT_ABANDONED` when the caller now owns a mutex whose last owner
///         ended; `WAIT_TIMEOUT`; `WAIT_FAILED` for a null handle
std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliSeconds);

/// Makes a further handle to the same object, to be closed by itself.
/// @return null for a null handle
HANDLE DuplicateHandle(HANDLE handle);

/// Gives a handle back. Waits that run on the object go on.
/// @return false for a null handle
bool CloseHandle(HANDLE handle);

}  // namespace Tovra::Platform
