#include "platform/thread.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>

#include "platform/posix/futex.h"
#include "platform/posix/waitable.h"

namespace Tovra::Platform::Detail {

constinit thread_local std::uint32_t s_threadId = 0;
constinit thread_local KillShield s_killShield;

namespace {
// The child of a fork has one thread, a copy of the one that forked, with an id of its own.
void forgetThreadId() { s_threadId = 0; }
}  // namespace

std::uint32_t fetchThreadId() {
    static const int s_registered = ::pthread_atfork(nullptr, nullptr, &forgetThreadId);
    static_cast<void>(s_registered);
    s_threadId = static_cast<std::uint32_t>(::syscall(SYS_gettid));
    return s_threadId;
}

}  // namespace Tovra::Platform::Detail

namespace Tovra::Platform {

namespace {

using Detail::Deadline;

struct Scheduling {
    int priority;
    int policy;
    int niceness;  // added to the main thread's
};

constexpr Scheduling s_schedulings[] = {
    {THREAD_PRIORITY_IDLE, SCHED_IDLE, 0},           {THREAD_PRIORITY_LOWEST, SCHED_OTHER, 10},
    {THREAD_PRIORITY_BELOW_NORMAL, SCHED_OTHER, 5},  {THREAD_PRIORITY_NORMAL, SCHED_OTHER, 0},
    {THREAD_PRIORITY_ABOVE_NORMAL, SCHED_OTHER, -5}, {THREAD_PRIORITY_HIGHEST, SCHED_OTHER, -10},
    {THREAD_PRIORITY_TIME_CRITICAL, SCHED_RR, 0},
};

const Scheduling* schedulingFor(int priority) {
    const auto* row = std::ranges::find(s_schedulings, priority, &Scheduling::priority);
    return row != std::end(s_schedulings) ? row : nullptr;
}

// What the system refuses stays as it is. The flag keeps threads that this one starts ordinary.
void schedule(pid_t thread, const Scheduling& wanted) {
    sched_param parameter{};
    parameter.sched_priority = wanted.policy == SCHED_RR ? ::sched_get_priority_min(SCHED_RR) : 0;
    ::sched_setscheduler(thread, wanted.policy | SCHED_RESET_ON_FORK, &parameter);
    const int ordinary = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::getpid()));
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread), ordinary + wanted.niceness);
}

// What asks a thread to die. Programs have the lower numbers for themselves.
int killSignal() { return SIGRTMAX - 1; }

/// A thread that was started here. It lives until both the thread and its handle are gone.
class StartedThread final : public Waitable {
public:
    StartedThread(std::uint32_t (*entry)(void*), void* argument)
        : Waitable(Kind::thread), m_entry(entry), m_argument(argument) {
        // Threads inherit what is low, and never what is raised.
        if (s_current != nullptr) m_priority = std::min(s_current->m_priority.load(), 0);
    }

    // Gives the reason of a failure, 0 when the thread runs. One that does not run is just deleted.
    int start(std::size_t stackSize) {
        pthread_attr_t attributes;
        if (const int error = ::pthread_attr_init(&attributes)) return error;
        int error = ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        if (error == 0 && stackSize != 0) {
            error = ::pthread_attr_setstacksize(&attributes, possibleStackSize(stackSize));
        }
        addRef();           // the thread's own reference
        pthread_t ignored;  // the thread tells its own, so that it is known before anyone asks
        if (error == 0) error = ::pthread_create(&ignored, &attributes, &run, this);
        ::pthread_attr_destroy(&attributes);
        return error;
    }

    std::uint32_t tryWait() override {
        return m_state.load(std::memory_order_acquire) == over ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    std::uint32_t sleepingWait(std::uint32_t milliSeconds) override {
        return waitForState(over, milliSeconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    std::uint32_t exitCode() {
        return tryWait() == WAIT_OBJECT_0 ? m_exitCode.load(std::memory_order_relaxed)
                                          : STILL_ACTIVE;
    }

    void setPriority(const Scheduling& wanted) {
        // Most threads are ordinary from the start: nothing to wait for then.
        if (m_priority.exchange(wanted.priority) == wanted.priority) return;
        waitForState(running, INFINITE);
        // The id belongs to this thread as long as it cannot end.
        const EndLock lock(m_endLock);
        if (m_state.load(std::memory_order_relaxed) != over) schedule(m_id, wanted);
    }

    bool kill(std::uint32_t exitCode) {
        // A thread inside a critical section would leave a lock behind that nobody ever opens. Most
        // leave it at once; one that sleeps in there is not waited for.
        constexpr std::uint32_t graceMilliSeconds = 100;
        waitForState(running, INFINITE);
        if (!requestEnd(KillRequest::whenFree, exitCode)) return false;
        if (!waitForState(over, graceMilliSeconds)) {
            requestEnd(KillRequest::atOnce, exitCode);
            waitForState(over, INFINITE);
        }
        return m_killed.exchange(false);  // one killer alone may tidy up behind the thread
    }

    static StartedThread* current() { return s_current; }

    // Ends the calling thread here and now, as if its entry had returned.
    [[noreturn]] void die(std::uint32_t exitCode) {
        m_exitCode.store(exitCode, std::memory_order_relaxed);
        ::siglongjmp(*m_base, 1);
    }

    // On the thread itself, wherever the signal meets it.
    static void onKillSignal(int) {
        if (s_current != nullptr) s_current->endIfRequested();
    }

    void refuseKill() {
        m_refuses = true;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    void endIfRequested() {
        const KillRequest request = m_killRequest.load(std::memory_order_acquire);
        if (request == KillRequest::none || m_refuses) return;
        Detail::KillShield& shield = Detail::s_killShield;
        if (request == KillRequest::whenFree && shield.isUp()) {
            shield.setPending(true);
            return;
        }
        m_killed = true;
        die(m_exitCode.load(std::memory_order_relaxed));
    }

private:
    enum State : std::uint32_t { starting, running, over };
    enum class KillRequest { none, whenFree, atOnce };

    // Held by the thread as it ends, and by whoever acts on it while it must not end.
    class EndLock {
    public:
        explicit EndLock(LockWord& word) : m_word(word) {
            if (!m_word.takeIfFree()) m_word.takeSleeping(INFINITE);
        }
        ~EndLock() { m_word.give(); }
        EndLock(const EndLock&) = delete;
        EndLock& operator=(const EndLock&) = delete;

    private:
        LockWord& m_word;
    };

    static std::size_t possibleStackSize(std::size_t size) {
        const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        const std::size_t least = std::max(size, static_cast<std::size_t>(PTHREAD_STACK_MIN));
        return (least + page - 1) / page * page;
    }

    static void* run(void* argument) {
        auto* const self = static_cast<StartedThread*>(argument);
        sigjmp_buf base;
        self->m_base = &base;
        // A killed thread comes back here: the runtime library can then free what is the thread's.
        if (sigsetjmp(base, 0) == 0) {
            self->begin();
            self->m_exitCode.store(self->m_entry(self->m_argument), std::memory_order_relaxed);
        }
        self->end();
        self->release();
        return nullptr;
    }

    void begin() {
        // Its starter may have had all signals blocked.
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, killSignal());
        ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        m_id = static_cast<pid_t>(GetCurrentThreadId());
        m_thread = ::pthread_self();
        s_current = this;
        enterState(running);
    }

    void end() {
        s_current = nullptr;  // a kill comes too late from here on
        Detail::s_killShield.reset();
        const EndLock lock(m_endLock);
        enterState(over);
    }

    // The two sides of the watch need one order: either the sleeper sees the new state, or the
    // thread sees that somebody watches.
    void enterState(State state) {
        m_state.store(state);
        if (m_watched.load()) Detail::futexWake(&m_state, INT32_MAX);
    }

    bool waitForState(State wanted, std::uint32_t milliSeconds) {
        std::uint32_t state = m_state.load(std::memory_order_acquire);
        if (state >= wanted) return true;
        const Deadline deadline(milliSeconds);
        m_watched.store(true);
        while ((state = m_state.load()) < wanted) {
            if (!Detail::futexWait(&m_state, state, deadline)) break;
        }
        return m_state.load(std::memory_order_acquire) >= wanted;
    }

    bool requestEnd(KillRequest request, std::uint32_t exitCode) {
        const EndLock lock(m_endLock);
        if (m_state.load(std::memory_order_relaxed) == over) return false;
        m_exitCode.store(exitCode, std::memory_order_relaxed);
        m_killRequest.store(request, std::memory_order_release);
        ::pthread_kill(m_thread, killSignal());
        return true;
    }

    static constinit thread_local StartedThread* s_current
        __attribute__((tls_model("initial-exec")));

    std::uint32_t (*const m_entry)(void*);
    void* const m_argument;

    std::atomic<std::uint32_t> m_state{starting};
    std::atomic<bool> m_watched{false};  // somebody sleeps, or slept, on the state
    // Written by the thread before it is `running`.
    pid_t m_id = 0;
    pthread_t m_thread{};
    sigjmp_buf* m_base = nullptr;  // touched by the thread alone

    LockWord m_endLock;
    std::atomic<int> m_priority{THREAD_PRIORITY_NORMAL};
    std::atomic<KillRequest> m_killRequest{KillRequest::none};
    std::atomic<std::uint32_t> m_exitCode{0};
    std::atomic<bool> m_refuses{false};
    std::atomic<bool> m_killed{false};
};

constinit thread_local StartedThread* StartedThread::s_current = nullptr;

StartedThread* startedThread(HANDLE handle) {
    if (handle == nullptr || handle->kind() != Waitable::Kind::thread) {
        errno = EBADF;
        return nullptr;
    }
    return static_cast<StartedThread*>(handle);
}

bool installKillHandler() {
    struct sigaction action {};
    action.sa_handler = &StartedThread::onKillSignal;
    // Calls that the signal meets go on, unless the thread dies; and then it never returns from
    // the handler, so the signal must not stay blocked.
    action.sa_flags = SA_RESTART | SA_NODEFER;
    ::sigemptyset(&action.sa_mask);
    return ::sigaction(killSignal(), &action, nullptr) == 0;
}

}  // namespace

void Detail::endIfKilled() {
    if (!s_killShield.isUp() && StartedThread::current() != nullptr) {
        s_killShield.setPending(false);
        StartedThread::current()->endIfRequested();
    }
}

void Sleep(std::uint32_t milliSeconds) {
    timespec left{milliSeconds / 1000, (milliSeconds % 1000) * 1'000'000L};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

HANDLE _beginthreadex(std::size_t stackSize, std::uint32_t (*entry)(void*), void* argument) {
    std::unique_ptr<StartedThread> thread(new (std::nothrow) StartedThread(entry, argument));
    const int error = thread != nullptr ? thread->start(stackSize) : ENOMEM;
    if (error == 0) return thread.release();
    errno = error;
    return nullptr;
}

bool SetThreadPriority(HANDLE handle, int priority) {
    StartedThread* thread = startedThread(handle);
    const Scheduling* wanted = schedulingFor(priority);
    if (wanted == nullptr) errno = EINVAL;
    if (thread == nullptr || wanted == nullptr) return false;
    thread->setPriority(*wanted);
    return true;
}

bool GetExitCodeThread(HANDLE handle, std::uint32_t& exitCode) {
    StartedThread* thread = startedThread(handle);
    if (thread == nullptr) return false;
    exitCode = thread->exitCode();
    return true;
}

void ExitThread(std::uint32_t exitCode) { StartedThread::current()->die(exitCode); }

bool TerminateThread(HANDLE handle, std::uint32_t exitCode) {
    StartedThread* thread = startedThread(handle);
    if (thread == nullptr) return false;
    if (thread == StartedThread::current()) thread->die(exitCode);
    static const bool s_installed = installKillHandler();
    return s_installed && thread->kill(exitCode);
}

void RefuseTermination() { StartedThread::current()->refuseKill(); }

std::uint32_t GetLastError() { return static_cast<std::uint32_t>(errno); }

}  // namespace Tovra::Platform
