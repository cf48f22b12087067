#pragma once

#include "vesko/annotations.h"
#include "vesko/export.h"

/// The older lock, kept for programs that use it. New code takes `Tovra::Vesko::CMutex`.
///
/// Its owner may enter it again, and then leaves as often. A thread that ends while it owns the
/// mutex abandons it.
/// Threads: any thread may call any operation; nobody may own it or wait for it when it ends.
class VESKO_API VESKO_LOCKABLE CMutex {
public:
    /// Both make the same kind of mutex: the value has no effect.
    enum Type { typeNormal = 0, typeRecursive = 1 };

    explicit CMutex(Type type = typeNormal);
    ~CMutex();
    CMutex(const CMutex&) = delete;

    /// Copies the inner pointer alone: both objects would then free one record.
    [[deprecated("two objects would free one record")]] CMutex& operator=(const CMutex& other);

    /// Owns the mutex. Blocks without limit while another thread owns it.
    /// @return true; false when its last owner ended without leaving it: the caller owns it all the
    ///         same
    bool Enter() VESKO_ACQUIRE();

    /// Owns the mutex unless another thread does. Never blocks.
    /// @return as `Enter`; false also when another thread owns it
    bool TryEnter() VESKO_TRY_ACQUIRE(true);

    /// Gives one ownership back.
    /// @return false, and nothing changes, when the calling thread does not own the mutex
    bool Leave() VESKO_RELEASE();

private:
    struct MutexInternal;
    MutexInternal* m_internal;
};

/// Owns an older `CMutex` from its constructor to its destructor.
class VESKO_SCOPED_LOCKABLE CGuard {
public:
    explicit CGuard(CMutex& mutex) VESKO_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Enter(); }
    ~CGuard() VESKO_RELEASE() { m_mutex.Leave(); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    CMutex& m_mutex;
};
