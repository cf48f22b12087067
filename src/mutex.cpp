#include "vesko/mutex.h"

#include <cassert>

#include "platform/sync.h"

namespace Platform = Tovra::Platform;

struct CMutex::MutexInternal {
    Platform::HANDLE m_handle;
};

CMutex::CMutex(Type) : m_internal(new MutexInternal{Platform::CreateMutexA()}) {
    assert(m_internal->m_handle);
}

CMutex::~CMutex() {
    Platform::CloseHandle(m_internal->m_handle);
    delete m_internal;
}

CMutex& CMutex::operator=(const CMutex& other) = default;

bool CMutex::Enter() VESKO_NO_THREAD_SAFETY {
    assert(m_internal->m_handle);
    return Platform::WaitForSingleObject(m_internal->m_handle, Platform::INFINITE) ==
           Platform::WAIT_OBJECT_0;
}

bool CMutex::TryEnter() VESKO_NO_THREAD_SAFETY {
    assert(m_internal->m_handle);
    return Platform::WaitForSingleObject(m_internal->m_handle, 0) == Platform::WAIT_OBJECT_0;
}

bool CMutex::Leave() VESKO_NO_THREAD_SAFETY {
    assert(m_internal->m_handle);
    return Platform::ReleaseMutex(m_internal->m_handle);
}
