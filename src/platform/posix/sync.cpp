#include "platform/sync.h"

#include <pthread.h>

#include <bit>
#include <new>

#include "platform/posix/futex.h"
#include "platform/posix/waitable.h"

namespace Tovra::Platform {

namespace {

using Detail::Deadline;
using Detail::futexWait;
using Detail::futexWake;

// Tells the processor that this is a waiting loop, where it has an instruction for that.
void relaxProcessor() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

/// A counting semaphore. Count and number of sleepers share one word, so that a post never touches
/// the object after a waiter may have taken the count and ended it.
class Semaphore final : public Waitable {
public:
    Semaphore(std::uint32_t initialCount, std::uint32_t maximumCount)
        : Waitable(Kind::semaphore), m_state(initialCount), m_maximumCount(maximumCount) {}

    std::uint32_t tryWait() override { return takeCount() ? WAIT_OBJECT_0 : WAIT_TIMEOUT; }

    std::uint32_t sleepingWait(std::uint32_t milliSeconds) override {
        const Deadline deadline(milliSeconds);
        m_state.fetch_add(oneSleeper, std::memory_order_relaxed);
        bool taken = takeCount();
        while (!taken && futexWait(countWord(), 0, deadline)) taken = takeCount();
        if (!taken) taken = takeCount();  // a post that came with the deadline is not lost
        m_state.fetch_sub(oneSleeper, std::memory_order_relaxed);
        return taken ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    bool post(std::uint32_t add) {
        const void* word = countWord();
        std::uint64_t state = m_state.load(std::memory_order_relaxed);
        do {
            if (add > m_maximumCount - countOf(state)) return false;
        } while (!m_state.compare_exchange_weak(state, state + add, std::memory_order_release,
                                                std::memory_order_relaxed));
        if (state >= oneSleeper) futexWake(word, static_cast<int>(add));
        return true;
    }

private:
    static constexpr std::uint64_t oneSleeper = std::uint64_t{1} << 32;

    static std::uint32_t countOf(std::uint64_t state) { return static_cast<std::uint32_t>(state); }

    const void* countWord() const {
        constexpr int half = std::endian::native == std::endian::little ? 0 : 1;
        return reinterpret_cast<const std::uint32_t*>(&m_state) + half;
    }

    bool takeCount() {
        std::uint64_t state = m_state.load(std::memory_order_relaxed);
        do {
            if (countOf(state) == 0) return false;
        } while (!m_state.compare_exchange_weak(state, state - 1, std::memory_order_acquire,
                                                std::memory_order_relaxed));
        return true;
    }

    std::atomic<std::uint64_t> m_state;  // count in the low half, sleepers in the high half
    const std::uint32_t m_maximumCount;
};

/// An event that stays signalled until it is reset.
class Event final : public Waitable {
public:
    Event() : Waitable(Kind::event) {}

    std::uint32_t tryWait() override {
        const bool isSet = (m_state.load(std::memory_order_acquire) & signalled) != 0;
        return isSet ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    std::uint32_t sleepingWait(std::uint32_t milliSeconds) override {
        const Deadline deadline(milliSeconds);
        const std::uint32_t before = m_state.load(std::memory_order_acquire);
        if ((before & signalled) != 0) return WAIT_OBJECT_0;
        // Another number of signals lets this wait through, whatever became of the signal itself.
        while (m_state.load(std::memory_order_acquire) == before) {
            if (!futexWait(&m_state, before, deadline)) break;
        }
        return m_state.load(std::memory_order_acquire) != before ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    void set() {
        std::uint32_t state = m_state.load(std::memory_order_relaxed);
        do {
            if ((state & signalled) != 0) return;
        } while (!m_state.compare_exchange_weak(state, (state + oneSignal) | signalled,
                                                std::memory_order_release,
                                                std::memory_order_relaxed));
        futexWake(&m_state, INT32_MAX);
    }

    void reset() { m_state.fetch_and(~signalled, std::memory_order_relaxed); }

private:
    static constexpr std::uint32_t signalled = 1;
    static constexpr std::uint32_t oneSignal = 2;

    std::atomic<std::uint32_t> m_state{0};  // signalled or not, and above that the signals so far
};

Event* eventOf(HANDLE handle) {
    if (handle == nullptr || handle->kind() != Waitable::Kind::event) return nullptr;
    return static_cast<Event*>(handle);
}

/// A mutex with owner, count and abandonment.
class OwnedMutex final : public Waitable {
public:
    OwnedMutex() : Waitable(Kind::mutex) {}

    std::uint32_t tryWait() override {
        if (ownedByCaller()) {
            ++m_depth;
            return WAIT_OBJECT_0;
        }
        return m_word.takeIfFree() ? becomeOwner() : WAIT_TIMEOUT;
    }

    std::uint32_t sleepingWait(std::uint32_t milliSeconds) override {
        return m_word.takeSleeping(milliSeconds) ? becomeOwner() : WAIT_TIMEOUT;
    }

    bool leave() {
        if (!ownedByCaller()) return false;
        if (--m_depth == 0) giveUp();
        return true;
    }

    // For a thread that ends: gives up all that it owns, as abandoned.
    static void abandonAll() {
        while (s_owned != nullptr) {
            s_owned->m_abandoned = true;
            s_owned->giveUp();
        }
    }

private:
    bool ownedByCaller() const {
        return m_owner.load(std::memory_order_relaxed) == GetCurrentThreadId();
    }

    std::uint32_t becomeOwner() {
        m_owner.store(GetCurrentThreadId(), std::memory_order_relaxed);
        m_depth = 1;
        link();
        const bool abandoned = m_abandoned;
        m_abandoned = false;
        return abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
    }

    void giveUp() {
        unlink();
        m_depth = 0;
        m_owner.store(0, std::memory_order_relaxed);
        m_word.give();
        release();  // the owner's reference, taken in link()
    }

    void link();
    void unlink() {
        OwnedMutex** place = &s_owned;
        while (*place != this) place = &(*place)->m_nextOwned;
        *place = m_nextOwned;
    }

    // What the calling thread owns, latest first. Only that thread ever touches its list.
    static constinit thread_local OwnedMutex* s_owned __attribute__((tls_model("initial-exec")));

    LockWord m_word;
    std::atomic<std::uint32_t> m_owner{0};
    // Touched by the owner alone.
    std::uint32_t m_depth = 0;
    bool m_abandoned = false;
    OwnedMutex* m_nextOwned = nullptr;
};

constinit thread_local OwnedMutex* OwnedMutex::s_owned = nullptr;

/// Has threads that own mutexes give them up as they end. A thread-local object would do, but would
/// also keep the library from being unloaded.
class ThreadEndWatch {
public:
    ThreadEndWatch() {
        ::pthread_key_create(&m_key, [](void*) { OwnedMutex::abandonAll(); });
    }
    ~ThreadEndWatch() { ::pthread_key_delete(m_key); }
    ThreadEndWatch(const ThreadEndWatch&) = delete;
    ThreadEndWatch& operator=(const ThreadEndWatch&) = delete;

    // Any value but null makes the key's function run when the calling thread ends.
    void watchCaller() { ::pthread_setspecific(m_key, this); }

private:
    pthread_key_t m_key{};
};

void OwnedMutex::link() {
    static ThreadEndWatch s_watch;
    if (s_owned == nullptr) s_watch.watchCaller();
    addRef();
    m_nextOwned = s_owned;
    s_owned = this;
}

// Keeps an object alive while a thread sleeps on it.
class HoldReference {
public:
    explicit HoldReference(Waitable* object) : m_object(object) { m_object->addRef(); }
    ~HoldReference() { m_object->release(); }
    HoldReference(const HoldReference&) = delete;
    HoldReference& operator=(const HoldReference&) = delete;

private:
    Waitable* m_object;
};

}  // namespace

bool LockWord::takeSleeping(std::uint32_t milliSeconds) {
    // Most locks are held for a few instructions: a short look may save the sleep.
    constexpr int looks = 100;
    for (int look = 0; look < looks; ++look) {
        if (m_state.load(std::memory_order_relaxed) == freeState && takeIfFree()) return true;
        relaxProcessor();
    }
    const Deadline deadline(milliSeconds);
    // Whoever slept cannot know who else sleeps, so it takes the word as contended.
    while (m_state.exchange(contendedState, std::memory_order_acquire) != freeState) {
        if (!futexWait(&m_state, contendedState, deadline)) return false;
    }
    return true;
}

void LockWord::wakeOne() const { futexWake(&m_state, 1); }

HANDLE CreateSemaphoreA(std::int32_t initialCount, std::int32_t maximumCount) {
    if (initialCount < 0 || maximumCount < 1 || initialCount > maximumCount) return nullptr;
    return new (std::nothrow) Semaphore(static_cast<std::uint32_t>(initialCount),
                                        static_cast<std::uint32_t>(maximumCount));
}

bool ReleaseSemaphore(HANDLE handle, std::int32_t add) {
    if (handle == nullptr || handle->kind() != Waitable::Kind::semaphore || add < 1) return false;
    return static_cast<Semaphore*>(handle)->post(static_cast<std::uint32_t>(add));
}

HANDLE CreateEventA() { return new (std::nothrow) Event; }

bool SetEvent(HANDLE handle) {
    Event* event = eventOf(handle);
    if (event == nullptr) return false;
    event->set();
    return true;
}

bool ResetEvent(HANDLE handle) {
    Event* event = eventOf(handle);
    if (event == nullptr) return false;
    event->reset();
    return true;
}

HANDLE CreateMutexA() { return new (std::nothrow) OwnedMutex; }

bool ReleaseMutex(HANDLE handle) {
    if (handle == nullptr || handle->kind() != Waitable::Kind::mutex) return false;
    return static_cast<OwnedMutex*>(handle)->leave();
}

std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliSeconds) {
    if (handle == nullptr) return WAIT_FAILED;
    const std::uint32_t result = handle->tryWait();
    if (result != WAIT_TIMEOUT || milliSeconds == 0) return result;
    const HoldReference hold(handle);
    return handle->sleepingWait(milliSeconds);
}

HANDLE DuplicateHandle(HANDLE handle) {
    if (handle != nullptr) handle->addRef();
    return handle;
}

bool CloseHandle(HANDLE handle) {
    if (handle == nullptr) return false;
    handle->release();
    return true;
}

}  // namespace Tovra::Platform
