#include "vesko/vesko3/locks.h"

#include <atomic>

#include "platform/sync.h"
#include "platform/tls.h"
#include "vesko3/assert.h"

// The operations below are the locks that the annotations speak of: nothing inside them can be
// proved.

namespace Tovra::Vesko {

struct MutexInternal {
    MutexInternal() { Platform::InitializeCriticalSection(&section); }
    ~MutexInternal() { Platform::DeleteCriticalSection(&section); }

    Platform::CRITICAL_SECTION section;
};

CMutex::CMutex() : m_internal(new MutexInternal) {}

CMutex::~CMutex() {
    delete m_internal;
    m_internal = nullptr;
}

bool CMutex::enter() VESKO_NO_THREAD_SAFETY {
    Platform::EnterCriticalSection(&m_internal->section);
    return true;
}

bool CMutex::tryEnter() VESKO_NO_THREAD_SAFETY {
    return Platform::TryEnterCriticalSection(&m_internal->section);
}

bool CMutex::leave() VESKO_NO_THREAD_SAFETY {
    Platform::LeaveCriticalSection(&m_internal->section);
    return true;
}

struct RecursiveMutexInternal {
    RecursiveMutexInternal() { Platform::InitializeCriticalSection(&section); }
    ~RecursiveMutexInternal() { Platform::DeleteCriticalSection(&section); }

    Platform::CRITICAL_SECTION section;
    std::int32_t count = 0;  // nesting depth; touched by the holder alone
    // Written by the holder alone, so another thread can never read its own id here.
    std::atomic<std::uint32_t> owner{0};
};

CRecursiveMutex::CRecursiveMutex() : m_internal(new RecursiveMutexInternal) {}

CRecursiveMutex::~CRecursiveMutex() { delete m_internal; }

bool CRecursiveMutex::enter() VESKO_NO_THREAD_SAFETY {
    const std::uint32_t self = Platform::GetCurrentThreadId();
    if (m_internal->owner.load(std::memory_order_relaxed) == self) {
        ++m_internal->count;
        return true;
    }
    Platform::EnterCriticalSection(&m_internal->section);
    m_internal->owner.store(self, std::memory_order_relaxed);
    m_internal->count = 1;
    return true;
}

bool CRecursiveMutex::leave() VESKO_NO_THREAD_SAFETY {
    if (--m_internal->count != 0) return true;
    m_internal->owner.store(0, std::memory_order_relaxed);  // before the section is anyone else's
    Platform::LeaveCriticalSection(&m_internal->section);
    return true;
}

struct SemaphoreInternal {
    Platform::HANDLE m_handle;
};

CSemaphore::CSemaphore(int initialCount)
    : m_internal(new SemaphoreInternal{Platform::CreateSemaphoreA(initialCount, 0x7FFFFFFF)}) {
    VESKO_ASSERT(m_internal->m_handle);
}

CSemaphore::~CSemaphore() {
    Platform::CloseHandle(m_internal->m_handle);
    delete m_internal;
}

int CSemaphore::pend() { return pend(Platform::INFINITE); }

int CSemaphore::pend(unsigned int timeout) {
    VESKO_ASSERT(m_internal->m_handle);
    const bool taken =
        Platform::WaitForSingleObject(m_internal->m_handle, timeout) == Platform::WAIT_OBJECT_0;
    return taken ? 0 : -1;
}

int CSemaphore::tryPend() { return pend(0); }

int CSemaphore::post() {
    // Not through m_internal after the count is given: a waiter may have ended this object.
    return Platform::ReleaseSemaphore(m_internal->m_handle, 1) ? 0 : -1;
}

struct ThreadSpecificInternal {
    std::uint32_t index;
};

CThreadSpecific::CThreadSpecific() : m_internal(new ThreadSpecificInternal{Platform::TlsAlloc()}) {}

CThreadSpecific::~CThreadSpecific() {
    if (valid()) Platform::TlsFree(m_internal->index);
    delete m_internal;
}

CThreadSpecific& CThreadSpecific::operator=(const CThreadSpecific& other) = default;

bool CThreadSpecific::valid() const { return m_internal->index < Platform::TLS_OUT_OF_INDEXES; }

bool CThreadSpecific::setValue(const void* value) {
    return valid() && Platform::TlsSetValue(m_internal->index, value);
}

bool CThreadSpecific::getValue(void** value) const {
    if (!valid()) return false;
    *value = Platform::TlsGetValue(m_internal->index);
    return true;
}

}  // namespace Tovra::Vesko
