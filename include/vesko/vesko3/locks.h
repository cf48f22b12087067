#pragma once

#include "vesko/annotations.h"
#include "vesko/export.h"

namespace Tovra::Vesko {

struct MutexInternal;
struct RecursiveMutexInternal;
struct SemaphoreInternal;
struct ThreadSpecificInternal;

/// A lock for short sections of code.
///
/// It is taken and given back in user space: without contention neither makes a system call. On
/// this platform its holder passes again and then leaves as often. Nothing is logged and nothing is
/// thrown but `std::bad_alloc` by the constructor.
/// Threads: any thread may call any operation; the object must be free, with nobody waiting, when
/// it ends. A lock that is held across a fork may only be left in the child.
class VESKO_API VESKO_LOCKABLE CMutex {
public:
    CMutex();
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Takes the lock. Blocks without limit while another thread holds it.
    /// @return true
    bool enter() VESKO_ACQUIRE();

    /// Takes the lock unless another thread holds it. Never blocks.
    /// @return true when the lock was taken
    bool tryEnter() VESKO_TRY_ACQUIRE(true);

    /// Gives the lock back.
    /// @return true
    /// @pre the calling thread holds the lock; this is not checked
    bool leave() VESKO_RELEASE();

private:
    MutexInternal* m_internal;
};

/// A lock that its holder may take again at next to no cost.
///
/// It is held until `leave` was called as often as `enter`. A nested `enter` touches two words and
/// takes no platform lock.
/// Threads: any thread may call any operation; the object must be free, with nobody waiting, when
/// it ends.
class VESKO_API VESKO_LOCKABLE CRecursiveMutex {
public:
    CRecursiveMutex();
    ~CRecursiveMutex();
    CRecursiveMutex(const CRecursiveMutex&) = delete;
    CRecursiveMutex& operator=(const CRecursiveMutex&) = delete;

    /// Takes the lock, or counts one more entry of its holder. Blocks without limit.
    /// @return true
    bool enter() VESKO_ACQUIRE();

    /// Gives one entry back.
    /// @return true
    /// @pre the calling thread holds the lock; this is not checked
    bool leave() VESKO_RELEASE();

private:
    RecursiveMutexInternal* m_internal;
};

/// A counting semaphore, with a count of at most 0x7FFFFFFF.
///
/// Threads: any thread may call any operation; nobody may wait when it ends. A `post` whose count a
/// waiter has taken touches the object no more, so that waiter may end it.
/// Units: milliseconds, on a clock that a change of the wall clock does not disturb.
class VESKO_API CSemaphore {
public:
    /// @param initialCount 0 or more; a negative count is a failed assertion
    explicit CSemaphore(int initialCount = 0);
    ~CSemaphore();
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    /// Takes one count. Blocks without limit while the count is 0.
    /// @return 0 when a count was taken, -1 on failure
    int pend();

    /// Takes one count, and waits for it no longer than told.
    /// @param timeout milliseconds; 0 never blocks, 0xFFFFFFFF waits without limit
    /// @return 0 when a count was taken, -1 on time-out or failure
    int pend(unsigned int timeout);

    /// Takes one count if there is one. Never blocks.
    /// @return 0 when a count was taken, -1 otherwise
    int tryPend();

    /// Adds one count, and wakes one waiter.
    /// @return 0; -1 when the count stands at its maximum, and is left there
    int post();

private:
    SemaphoreInternal* m_internal;
};

/// A slot that holds one pointer for each thread.
///
/// It holds plain values, or memory that its user owns: nothing is freed when a thread ends.
/// Threads: any thread may call `setValue` and `getValue`; each sees its own value only.
class VESKO_API CThreadSpecific {
public:
    /// Takes a slot from the system. When none is left the object stands, but is not `valid`.
    CThreadSpecific();
    ~CThreadSpecific();
    CThreadSpecific(const CThreadSpecific&) = delete;

    /// Copies the inner pointer alone: both objects would then free one record.
    [[deprecated("two objects would free one record")]] CThreadSpecific& operator=(
        const CThreadSpecific& other);

    /// @return true when the object has a slot
    bool valid() const;

    /// Stores a value for the calling thread.
    /// @return false when the object has no slot, or the system refused
    bool setValue(const void* value);

    /// Reads the value of the calling thread: null if it never stored one.
    /// @return false when the object has no slot; `*value` is then left alone
    bool getValue(void** value) const;

private:
    ThreadSpecificInternal* m_internal;
};

/// Holds a `CMutex` from its constructor to its destructor.
class VESKO_SCOPED_LOCKABLE CGuard {
public:
    explicit CGuard(CMutex& mutex) VESKO_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.enter(); }
    ~CGuard() VESKO_RELEASE() { m_mutex.leave(); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    CMutex& m_mutex;
};

/// Holds a `CRecursiveMutex` from its constructor to its destructor.
class VESKO_SCOPED_LOCKABLE CRecursiveGuard {
public:
    explicit CRecursiveGuard(CRecursiveMutex& mutex) VESKO_ACQUIRE(mutex) : m_mutex(mutex) {
        m_mutex.enter();
    }
    ~CRecursiveGuard() VESKO_RELEASE() { m_mutex.leave(); }
    CRecursiveGuard(const CRecursiveGuard&) = delete;
    CRecursiveGuard& operator=(const CRecursiveGuard&) = delete;

private:
    CRecursiveMutex& m_mutex;
};

}  // namespace Tovra::Vesko
