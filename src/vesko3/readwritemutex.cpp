#include "vesko/vesko3/readwritemutex.h"

#include <atomic>
#include <cstdint>

#include "platform/sync.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"

// One operation leaves what another one entered, as a reader or as a writer: the annotations of locks
// cannot follow that.

namespace Tovra::Vesko {

namespace {

// Holds a platform lock for the few instructions of a block.
class SectionGuard {
public:
    explicit SectionGuard(Platform::CRITICAL_SECTION& section) VESKO_NO_THREAD_SAFETY
        : m_section(section) {
        Platform::EnterCriticalSection(&m_section);
    }
    ~SectionGuard() VESKO_NO_THREAD_SAFETY { Platform::LeaveCriticalSection(&m_section); }
    SectionGuard(const SectionGuard&) = delete;
    SectionGuard& operator=(const SectionGuard&) = delete;

private:
    Platform::CRITICAL_SECTION& m_section;
};

// The holders under `priorityWriter`: active writers, 0 or 1, above the active readers.
constexpr std::uint32_t s_oneReader = 1;
constexpr std::uint32_t s_oneWriter = 0x10000;
constexpr std::uint32_t HIWORD(std::uint32_t holders) { return holders >> 16; }
constexpr std::uint32_t LOWORD(std::uint32_t holders) { return holders & 0xFFFF; }

}  // namespace

/// Both locks in one: the mode is fixed at construction.
struct RWMutexInternal {
    explicit RWMutexInternal(RWPriority mode);
    ~RWMutexInternal();
    RWMutexInternal(const RWMutexInternal&) = delete;
    RWMutexInternal& operator=(const RWMutexInternal&) = delete;

    void enterReadingSpinning();
    void enterWritingSpinning();
    bool leaveSpinning();
    void reportHolders();

    void enterReadingQueued();
    void enterWritingQueued();
    bool leaveQueued();
    bool mayRead() const { return numWritersWaiting_ < 1 && HIWORD(activeWriterReaders_) < 1; }
    void waitToRead();
    void leaveAsReader();
    void leaveAsWriter();

    const RWPriority priority;

    // Mode `priorityDefault`.
    std::atomic<std::int32_t> numReaders{0};
    std::int32_t writing = 0;  // touched under writerLock, and by a leave that finds no reader
    // Held by a writer to its leave, and for a moment by each reader that enters.
    Platform::CRITICAL_SECTION writerLock;

    // Mode `priorityWriter`; guarded by stateLock, which nobody holds while it waits.
    std::int32_t numWritersWaiting_ = 0;
    std::int32_t numReadersWaiting_ = 0;
    std::uint32_t activeWriterReaders_ = 0;
    Platform::HANDLE hReadyToRead_ = nullptr;
    Platform::HANDLE hReadyToWrite_ = nullptr;
    Platform::CRITICAL_SECTION stateLock;
};

RWMutexInternal::RWMutexInternal(RWPriority mode) : priority(mode) {
    Platform::InitializeCriticalSection(&writerLock);
    Platform::InitializeCriticalSection(&stateLock);
    if (priority != priorityWriter) return;
    hReadyToRead_ = Platform::CreateEventA();
    VESKO_ASSERT(hReadyToRead_ != NULL);  // NOLINT(modernize-use-nullptr): the text is printed
    hReadyToWrite_ = Platform::CreateSemaphoreA(0, 1);
    VESKO_ASSERT(hReadyToWrite_ != NULL);  // NOLINT(modernize-use-nullptr): the text is printed
}

RWMutexInternal::~RWMutexInternal() {
    if (priority == priorityDefault) reportHolders();
    Platform::CloseHandle(hReadyToRead_);
    Platform::CloseHandle(hReadyToWrite_);
    Platform::DeleteCriticalSection(&stateLock);
    Platform::DeleteCriticalSection(&writerLock);
}

void RWMutexInternal::reportHolders() VESKO_NO_THREAD_SAFETY {
    const std::int32_t readers = numReaders;
    if (readers > 0) logError("has lock Read count(%d), maybe err\n", readers);
    if (writing != 1) return;
    logError("has lock write, maybe err\n");
    Platform::LeaveCriticalSection(&writerLock);
}

void RWMutexInternal::enterReadingSpinning() {
    SectionGuard guard(writerLock);
    numReaders.fetch_add(1, std::memory_order_relaxed);
}

void RWMutexInternal::enterWritingSpinning() VESKO_NO_THREAD_SAFETY {
    Platform::EnterCriticalSection(&writerLock);  // kept until the writer leaves
    // The acquire pairs with the readers' release as they leave.
    while (numReaders.load(std::memory_order_acquire) >= 1) Platform::Sleep(0);
    writing = 1;
}

bool RWMutexInternal::leaveSpinning() VESKO_NO_THREAD_SAFETY {
    if (numReaders.load(std::memory_order_relaxed) >= 1) {
        numReaders.fetch_sub(1, std::memory_order_release);
        return true;
    }
    if (writing != 1) {
        logError("No lock, maybe err\n");
        return false;
    }
    writing = 0;
    Platform::LeaveCriticalSection(&writerLock);
    return true;
}

void RWMutexInternal::enterReadingQueued() {
    const RWMutexInternal* const m_internal = this;  // as the assertions call it
    bool wakeOthers = false;
    {
        SectionGuard guard(stateLock);
        if (mayRead()) {
            activeWriterReaders_ += s_oneReader;
            wakeOthers = activeWriterReaders_ == s_oneReader && numReadersWaiting_ != 0;
        } else {
            waitToRead();
        }
        VESKO_ASSERT(HIWORD(m_internal->activeWriterReaders_) == 0);
    }
    if (wakeOthers) Platform::SetEvent(hReadyToRead_);
}

// Leaves the state's lock for the time of each wait, and holds it again on return.
void RWMutexInternal::waitToRead() VESKO_NO_THREAD_SAFETY {
    const RWMutexInternal* const m_internal = this;  // as the assertions call it
    ++numReadersWaiting_;
    VESKO_ASSERT(m_internal->numReadersWaiting_ > 0);
    do {
        Platform::ResetEvent(hReadyToRead_);
        Platform::LeaveCriticalSection(&stateLock);
        Platform::WaitForSingleObject(hReadyToRead_, Platform::INFINITE);
        Platform::EnterCriticalSection(&stateLock);
    } while (!mayRead());
    --numReadersWaiting_;
    VESKO_ASSERT(m_internal->numReadersWaiting_ >= 0);
    activeWriterReaders_ += s_oneReader;
}

void RWMutexInternal::enterWritingQueued() {
    const RWMutexInternal* const m_internal = this;  // as the assertions call it
    {
        SectionGuard guard(stateLock);
        if (activeWriterReaders_ == 0) {
            VESKO_ASSERT(m_internal->activeWriterReaders_ == 0);
            activeWriterReaders_ = s_oneWriter;
            return;
        }
        ++numWritersWaiting_;
        VESKO_ASSERT(m_internal->numWritersWaiting_ > 0);
    }
    // Whoever gives the semaphore has made the lock this writer's already.
    Platform::WaitForSingleObject(hReadyToWrite_, Platform::INFINITE);
}

bool RWMutexInternal::leaveQueued() VESKO_NO_THREAD_SAFETY {
    Platform::EnterCriticalSection(&stateLock);
    if (activeWriterReaders_ != 0 && activeWriterReaders_ < s_oneWriter) {
        leaveAsReader();
        return true;
    }
    if (HIWORD(activeWriterReaders_) == 1 && LOWORD(activeWriterReaders_) == 0) {
        leaveAsWriter();
        return true;
    }
    Platform::LeaveCriticalSection(&stateLock);
    return false;
}

// Enters with the state's lock held, and leaves it.
void RWMutexInternal::leaveAsReader() VESKO_NO_THREAD_SAFETY {
    activeWriterReaders_ -= s_oneReader;
    // A reader that waits may not have begun its wait yet: the event that lets it in must stay.
    if (activeWriterReaders_ == 0 && numReadersWaiting_ == 0) Platform::ResetEvent(hReadyToRead_);
    if (activeWriterReaders_ == 0 && numWritersWaiting_ != 0) {
        --numWritersWaiting_;
        activeWriterReaders_ = s_oneWriter;
        Platform::ReleaseSemaphore(hReadyToWrite_, 1);
    }
    Platform::LeaveCriticalSection(&stateLock);
}

// Enters with the state's lock held, and leaves it before it wakes anyone. A hand-over leaves no
// moment at which a reader could enter.
void RWMutexInternal::leaveAsWriter() VESKO_NO_THREAD_SAFETY {
    const bool handsOver = numWritersWaiting_ != 0;
    bool wakesReaders = false;
    if (handsOver) {
        --numWritersWaiting_;
    } else {
        activeWriterReaders_ = 0;
        wakesReaders = numReadersWaiting_ != 0;
    }
    Platform::LeaveCriticalSection(&stateLock);
    if (handsOver) {
        Platform::ReleaseSemaphore(hReadyToWrite_, 1);
    } else if (wakesReaders) {
        Platform::SetEvent(hReadyToRead_);
    }
}

CReadWriteMutex::CReadWriteMutex() : CReadWriteMutex(priorityDefault) {}

CReadWriteMutex::CReadWriteMutex(enum RWPriority priority) {
    const bool isKnown = priority == priorityDefault || priority == priorityWriter;
    if (!isKnown) {
        VESKO_FILTERED_OBJECT(warn, "Input rwpriority level error, priorityDefault used!\n");
    }
    m_internal = new RWMutexInternal(isKnown ? priority : priorityDefault);
    VESKO_ASSERT(m_internal);
}

CReadWriteMutex::~CReadWriteMutex() { delete m_internal; }

bool CReadWriteMutex::enterReading() {
    if (m_internal->priority == priorityWriter) {
        m_internal->enterReadingQueued();
    } else {
        m_internal->enterReadingSpinning();
    }
    return true;
}

bool CReadWriteMutex::enterWriting() {
    if (m_internal->priority == priorityWriter) {
        m_internal->enterWritingQueued();
    } else {
        m_internal->enterWritingSpinning();
    }
    return true;
}

bool CReadWriteMutex::leave() {
    return m_internal->priority == priorityWriter ? m_internal->leaveQueued()
                                                  : m_internal->leaveSpinning();
}

}  // namespace Tovra::Vesko
