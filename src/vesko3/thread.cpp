#include "vesko/vesko3/thread.h"

#include <algorithm>
#include <limits>

#include "platform/sync.h"
#include "vesko/vesko3/time.h"
#include "vesko3/logmacros.h"
#include "vesko3/threadinternal.h"
#include "vesko3/threadmanagerinternal.h"

namespace Tovra::Vesko {

namespace {

constexpr int realTimePolicy = 1;

struct PriorityRow {
    int upTo;
    int platform;
};

// Rising order; the first row that reaches the value counts.
constexpr PriorityRow s_priorityTable[] = {
    {-15, Platform::THREAD_PRIORITY_IDLE},
    {-2, Platform::THREAD_PRIORITY_LOWEST},
    {-1, Platform::THREAD_PRIORITY_BELOW_NORMAL},
    {0, Platform::THREAD_PRIORITY_NORMAL},
    {1, Platform::THREAD_PRIORITY_ABOVE_NORMAL},
    {14, Platform::THREAD_PRIORITY_HIGHEST},
    {std::numeric_limits<int>::max(), Platform::THREAD_PRIORITY_TIME_CRITICAL}};
static_assert(std::ranges::is_sorted(s_priorityTable, {}, &PriorityRow::upTo));

// The priorities 1 to 127 are spread over the platform's 15 to -15.
int platformPriority(int policy, int priority) {
    if (policy == realTimePolicy) return Platform::THREAD_PRIORITY_TIME_CRITICAL;
    const std::int64_t level = 15 - (std::int64_t{priority} - 1) * 30 / 126;
    return std::ranges::find_if(s_priorityTable,
                                [level](const PriorityRow& row) { return level <= row.upTo; })
        ->platform;
}

std::size_t stackBytes(int stackSize) { return static_cast<std::uint32_t>(stackSize); }

std::uint32_t runThread(void* record) {
    static_cast<ThreadInternal*>(record)->run();
    return 0;
}

// A sum that may wrap: a negative time is a deadline before `now`.
std::uint64_t deadlineAfter(std::uint64_t now, int milliSeconds) {
    return now + static_cast<std::uint64_t>(std::int64_t{milliSeconds});
}

}  // namespace

ThreadInternal::ThreadInternal(CThread* thread, const char* threadName, int wantedPriority,
                               int wantedPolicy, int wantedStackSize)
    : policy(wantedPolicy),
      priority(wantedPriority),
      stackSize(wantedStackSize),
      name(threadName),
      manager(ThreadManagerInternal::instance()),
      owner(thread) {}

ThreadInternal::Start ThreadInternal::start(int& error) {
    CGuard guard(mutex);
    if (loop) return Start::stillRunning;
    closeHandle();
    while (running != 0 && !loop) {
        mutex.leave();
        CThread::sleep(1);
        mutex.enter();
    }
    if (loop) return Start::stillRunning;  // another caller was first
    closeHandle();                         // of a run that another caller started meanwhile
    loop = true;
    id = -1;
    destroying = false;
    expiry = 0;
    handle = Platform::_beginthreadex(stackBytes(stackSize), &runThread, this);
    if (handle == nullptr) {
        error = static_cast<int>(Platform::GetLastError());
        loop = false;
        return Start::refused;
    }
    if (!Platform::SetThreadPriority(handle, platformPriority(policy, priority))) {
        error = static_cast<int>(Platform::GetLastError());
        return Start::priorityRefused;
    }
    running = 1;
    return Start::done;
}

ThreadInternal::Stop ThreadInternal::askToStop(Platform::HANDLE& run) {
    CGuard guard(mutex);
    if (destroying) return Stop::alreadyDestroyed;
    if (isOver()) return Stop::over;
    loop = false;
    destroying = true;
    if (handle == nullptr) return Stop::withoutHandle;
    run = Platform::DuplicateHandle(handle);
    return Stop::asked;
}

void ThreadInternal::run() {
    {
        CGuard guard(mutex);  // waits for the starter to be done
        running = 1;
        id = CThread::getCurrentThreadID();
    }
    ThreadManagerInternal::addThread(this);
    const int place = 0;  // shows where the thread's stack lies
    VESKO_FILTERED(debug, "ThreadBody Enter name = %s, id = %d, prior = %s%d, stack = %p \n",
                   name.copy().text, id.load(), policy == realTimePolicy ? "R" : "N", priority,
                   static_cast<const void*>(&place));
    owner->threadProc();
    VESKO_FILTERED(debug, "ThreadBody leave name = %s, id = %d \n", name.copy().text, id.load());
    Platform::RefuseTermination();  // or a killer would finish this run a second time
    finish();
}

void ThreadInternal::finish() {
    ThreadManagerInternal::removeThread(this);
    loop = false;
    running.store(0, std::memory_order_release);  // last: the destructor may free the record
}

void ThreadInternal::setDeadline(int milliSeconds, std::uint64_t now) {
    expiry.store(milliSeconds == 0 ? 0 : deadlineAfter(now, milliSeconds),
                 std::memory_order_relaxed);
}

bool ThreadInternal::isOverdue(std::uint64_t now) const {
    const std::uint64_t deadline = expiry.load(std::memory_order_relaxed);
    return deadline != 0 && deadline < now;
}

bool ThreadInternal::isOver() const {
    return running.load(std::memory_order_acquire) == 0 && !loop;
}

void ThreadInternal::closeHandle() {
    Platform::CloseHandle(handle);
    handle = nullptr;
}

CThread::CThread(const char* name, int priority, int policy, int stackSize)
    : m_internal(new ThreadInternal(this, name, priority, policy, stackSize)) {}

CThread::~CThread() {
    bool stillLoops = false;
    {
        CGuard guard(m_internal->mutex);
        stillLoops = m_internal->loop;
    }
    if (stillLoops) destroyThread();
    waitUntilOver();
    {
        CGuard guard(m_internal->mutex);
        m_internal->closeHandle();
    }
    delete m_internal;
}

void CThread::waitUntilOver() {
    Platform::HANDLE run = nullptr;
    {
        CGuard guard(m_internal->mutex);
        run = m_internal->handle;
    }
    std::uint64_t rounds = 0;
    std::uint32_t exitCode = 0;
    Platform::GetExitCodeThread(run, exitCode);
    while (m_internal->running.load(std::memory_order_acquire) != 0 &&
           exitCode == Platform::STILL_ACTIVE) {
        sleep(1);
        Platform::GetExitCodeThread(run, exitCode);
        if (++rounds % 100 != 0) continue;
        VESKO_FILTERED_OBJECT(debug, "CThread::~CThread %s wait for thread over, times : %llu\n",
                              m_internal->name.copy().text,
                              static_cast<unsigned long long>(rounds));
    }
}

bool CThread::createThread() {
    int error = 0;
    switch (m_internal->start(error)) {
        case ThreadInternal::Start::stillRunning:
            VESKO_FILTERED_OBJECT(warn, "CThread::CreateThread() thread '%s' is still running!\n",
                                  m_internal->name.copy().text);
            return false;
        case ThreadInternal::Start::refused:
        case ThreadInternal::Start::priorityRefused:
            reportRefusedStart(error);
            return false;
        case ThreadInternal::Start::done:
            break;
    }
    return true;
}

bool CThread::startQuietly(int& error) {
    return m_internal->start(error) == ThreadInternal::Start::done;
}

void CThread::reportRefusedStart(int error) {
    VESKO_FILTERED_OBJECT(error, "create thread failed,errno=%d\n", error);
}

bool CThread::destroyThread() {
    Platform::HANDLE run = nullptr;
    switch (m_internal->askToStop(run)) {
        case ThreadInternal::Stop::alreadyDestroyed:
            VESKO_FILTERED_OBJECT(warn,
                                  "CThread::DestroyThread() thread '%s' has been destroyed!\n",
                                  m_internal->name.copy().text);
            return false;
        case ThreadInternal::Stop::over:
            VESKO_FILTERED_OBJECT(warn, "CThread::DestroyThread() thread '%s' has exited!\n",
                                  m_internal->name.copy().text);
            return false;
        case ThreadInternal::Stop::withoutHandle:
            VESKO_FILTERED_OBJECT(warn,
                                  "CThread::DestroyThread() thread handle has been invalid!\n");
            return false;
        case ThreadInternal::Stop::asked:
            break;
    }
    constexpr std::uint32_t lookMilliSeconds = 50;
    if (m_internal->id != getCurrentThreadID()) {
        // A restart by another thread clears `destroying`: this stop is over then.
        while (m_internal->running.load(std::memory_order_acquire) != 0 &&
               Platform::WaitForSingleObject(run, lookMilliSeconds) == Platform::WAIT_TIMEOUT &&
               m_internal->destroying) {
        }
    }
    Platform::CloseHandle(run);
    return true;
}

bool CThread::terminateThread() {
    destroyThread();
    Platform::HANDLE run = nullptr;
    {
        CGuard guard(m_internal->mutex);
        run = Platform::DuplicateHandle(m_internal->handle);
    }
    if (run == nullptr) {
        VESKO_FILTERED_OBJECT(error, "handle is null, can't be terminated\n");
        return false;
    }
    // The system gives the id of a thread that is over to others.
    if (!m_internal->isOver() && m_internal->id == getCurrentThreadID()) {
        Platform::RefuseTermination();  // another killer would finish this run a second time
        m_internal->finish();
        Platform::CloseHandle(run);
        Platform::ExitThread(0);
    }
    const bool killed = m_internal->running.load(std::memory_order_acquire) != 0 &&
                        Platform::TerminateThread(run, 0);
    if (killed) m_internal->finish();
    Platform::CloseHandle(run);
    return killed;
}

bool CThread::cancelThread() {
    bool asked = false;
    {
        CGuard guard(m_internal->mutex);
        asked = m_internal->loop.exchange(false);
    }
    if (!asked) {
        VESKO_FILTERED_OBJECT(warn, "CThread::cancelThread() thread '%s' not exist!\n",
                              m_internal->name.copy().text);
    }
    return asked;
}

bool CThread::isThreadOver() { return m_internal->isOver(); }

bool CThread::looping() const { return m_internal->loop.load(std::memory_order_relaxed); }

int CThread::getThreadID() { return m_internal->id.load(std::memory_order_relaxed); }

void CThread::setThreadName(const char* name) { m_internal->name.set(name); }

void CThread::enableStackSize() { m_internal->enableStack = true; }

void CThread::setTimeout(int milliSeconds) {
    setTimeout(milliSeconds, milliSeconds != 0 ? CTime::getCurrentMilliSecond() : 0);
}

void CThread::setTimeout(int milliSeconds, std::uint64_t now) {
    m_internal->setDeadline(milliSeconds, now);
}

bool CThread::isTimeout() {
    CGuard guard(m_internal->mutex);
    return m_internal->expiry != 0 && m_internal->isOverdue(CTime::getCurrentMilliSecond());
}

int CThread::shareSocket(int socket) { return socket; }

int CThread::getCurrentThreadID() { return static_cast<int>(Platform::GetCurrentThreadId()); }

bool CThread::setCurrentTimeout(int milliSeconds) {
    ThreadInternal* self = ThreadManagerInternal::instance()->getThread(getCurrentThreadID());
    if (self == nullptr) return false;
    CGuard guard(self->mutex);
    self->setDeadline(milliSeconds, CTime::getCurrentMilliSecond());
    return true;
}

void CThread::sleep(int milliSeconds) { Platform::Sleep(static_cast<std::uint32_t>(milliSeconds)); }

void CThread::load(int percent) {
    if (percent < 1 || percent > 100) {
        VESKO_FILTERED(error, "thread load percent %d is invalid!\n", percent);
    }
}

}  // namespace Tovra::Vesko
