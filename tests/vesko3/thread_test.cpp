#include "vesko/vesko3/thread.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>

#include <atomic>
#include <functional>
#include <thread>

#include "support/capture.h"
#include "support/crowd.h"
#include "support/manualclock.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/threadlite.h"
#include "vesko/vesko3/threadmanager.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;
using Tovra::Testing::together;

// A thread whose work each test chooses. The registry must be empty again when it is gone.
class TestThread : public CThread {
public:
    explicit TestThread(std::function<void(TestThread&)> work, int priority = 64, int policy = 0,
                        int stackSize = 0)
        : CThread("worker", priority, policy, stackSize), m_work(std::move(work)) {}
    ~TestThread() override {
        if (!isThreadOver()) destroyThread();
        while (!isThreadOver()) sleep(1);
        EXPECT_FALSE(CThreadManager::instance()->hasThread(getThreadID()));
    }
    void threadProc() override {
        began.post();
        m_work(*this);
    }
    void begin() {
        ASSERT_TRUE(createThread());
        began.pend();
    }
    void runToItsEnd() {
        begin();
        while (!isThreadOver()) sleep(1);
    }

    CSemaphore began;

private:
    const std::function<void(TestThread&)> m_work;
};

void untilStopped(TestThread& thread) {
    while (thread.looping()) CThread::sleep(1);
}

std::string withoutPrefix(const std::string& text) {
    const std::size_t end = text.find(", ", text.find(" tid:"));
    return end == std::string::npos ? text : text.substr(end + 2);
}

TEST(Thread, AnswersEachCallAsItsStateTells) {
    TestThread thread(&untilStopped);
    struct Step {
        const char* name;
        std::function<bool()> call;
        bool result;
        const char* message;
    };
    const auto create = [&] { return thread.createThread(); };
    const auto destroy = [&] { return thread.destroyThread(); };
    const auto cancel = [&] { return thread.cancelThread(); };
    const auto terminate = [&] { return thread.terminateThread(); };
    constexpr const char* exited = "CThread::DestroyThread() thread 'worker' has exited!\n";
    constexpr const char* destroyed =
        "CThread::DestroyThread() thread 'worker' has been destroyed!\n";
    constexpr const char* notThere = "CThread::cancelThread() thread 'worker' not exist!\n";
    const Step steps[] = {
        {"idle: destroy", destroy, false, exited},
        {"idle: cancel", cancel, false, notThere},
        {"idle: start", create, true, ""},
        {"running: start", create, false,
         "CThread::CreateThread() thread 'worker' is still running!\n"},
        {"running: cancel", cancel, true, ""},
        {"cancelled: cancel", cancel, false, notThere},
        {"cancelled: start", create, true, ""},
        {"running: destroy", destroy, true, ""},
        {"over: destroy", destroy, false, destroyed},
        {"over: cancel", cancel, false, notThere},
        {"over: start", create, true, ""},
        {"running: destroy again", destroy, true, ""},
        {"over: terminate", terminate, false, destroyed},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        bool result = !step.result;
        const std::string text = printed(3, [&] { result = step.call(); });
        EXPECT_EQ(result, step.result);
        EXPECT_EQ(withoutPrefix(text), step.message);
    }
    EXPECT_TRUE(thread.isThreadOver());
    TestThread unborn(&untilStopped);
    EXPECT_NE(printed(3, [&] { EXPECT_FALSE(unborn.terminateThread()); })
                  .find("handle is null, can't be terminated\n"),
              std::string::npos);
}

TEST(Thread, RunsAgainUnderANewIdAfterItsEnd) {
    std::atomic<int> seen{-1};
    TestThread thread([&](TestThread& self) {
        seen = self.getThreadID();
        EXPECT_EQ(seen, CThread::getCurrentThreadID());
    });
    EXPECT_EQ(thread.getThreadID(), -1);
    for (int run = 0; run < 3; ++run) {
        thread.runToItsEnd();
        EXPECT_EQ(thread.getThreadID(), seen);  // kept after the end
    }
}

TEST(Thread, EndsItselfByReturningOrAtOnce) {
    bool asked = false;
    bool loopsOn = true;
    TestThread polite([&](TestThread& self) {
        asked = self.destroyThread();
        loopsOn = self.looping();
    });
    polite.runToItsEnd();
    EXPECT_TRUE(asked);
    EXPECT_FALSE(loopsOn);

    std::atomic<bool> survived{false};
    TestThread rash([&](TestThread& self) {
        self.terminateThread();
        survived = true;
    });
    rash.runToItsEnd();
    EXPECT_FALSE(survived);
    EXPECT_FALSE(CThreadManager::instance()->hasThread(rash.getThreadID()));
}

TEST(Thread, TellsItsBodysEndsAtDebugLevel) {
    TestThread thread([](TestThread&) {}, 7, 1);
    const std::string text = printed(6, [&] { thread.runToItsEnd(); });
    const std::string id = std::to_string(thread.getThreadID());
    EXPECT_EQ(text.find("ThreadBody Enter name = worker, id = " + id + ", prior = R7, stack = "),
              0U);
    EXPECT_NE(text.find(" \nThreadBody leave name = worker, id = " + id + " \n"),
              std::string::npos);
}

TEST(Thread, StaysIdleWhenTheSystemRefusesTheStart) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer needs the memory that is made short here";
#endif
    TestThread thread(&untilStopped, 64, 0, 0x7FFFFFFF);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
    const rlimit tight{std::min<rlim_t>(before.rlim_max, 1U << 30), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &tight), 0);
    const std::string text = printed(2, [&] { EXPECT_FALSE(thread.createThread()); });
    ::setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(withoutPrefix(text), "create thread failed,errno=" + std::to_string(EAGAIN) + "\n");
    EXPECT_TRUE(thread.isThreadOver());
}

TEST(Thread, TakesThePrioritiesThatTheSystemAllows) {
    // Lower than ordinary is allowed to everyone; a refusal to raise must not fail the start.
    struct Row {
        int priority;
        int policy;
        int scheduler;
        int atLeastNice;
    };
    constexpr Row rows[] = {{127, 0, SCHED_IDLE, 0},   {126, 0, SCHED_OTHER, 10},
                            {73, 0, SCHED_OTHER, 10},  {72, 0, SCHED_OTHER, 5},
                            {69, 0, SCHED_OTHER, 5},   {68, 0, SCHED_OTHER, 0},
                            {64, 0, SCHED_OTHER, 0},   {63, 0, SCHED_OTHER, -5},
                            {59, 0, SCHED_OTHER, -10}, {6, 0, SCHED_OTHER, -10}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.priority);
        TestThread thread(&untilStopped, row.priority, row.policy);
        thread.begin();
        const int id = thread.getThreadID();
        EXPECT_EQ(::sched_getscheduler(id) & ~SCHED_RESET_ON_FORK, row.scheduler);
        EXPECT_GE(::getpriority(PRIO_PROCESS, static_cast<id_t>(id)), row.atLeastNice);
    }
    for (const int urgent : {1, 5}) {
        TestThread thread(&untilStopped, urgent);
        EXPECT_TRUE(thread.createThread());
    }
}

TEST(Thread, IsTimedOutOnlyPastItsDeadline) {
    ManualClock clock;
    TestThread thread(&untilStopped);
    EXPECT_FALSE(thread.isTimeout());
    thread.setTimeout(100);
    clock.step(99'000'000);
    EXPECT_FALSE(thread.isTimeout());
    clock.step(3'000'000);
    EXPECT_TRUE(thread.isTimeout());
    thread.setTimeout(0);
    EXPECT_FALSE(thread.isTimeout());
    thread.setTimeout(-1);
    clock.step(1'000'000);
    EXPECT_TRUE(thread.isTimeout());
    EXPECT_FALSE(CThread::setCurrentTimeout(1000));  // the main thread stands in no registry
}

TEST(Thread, ChecksALoadAndPassesASocketOn) {
    for (const auto& [percent, refused] :
         {std::pair(0, true), {1, false}, {100, false}, {101, true}}) {
        const std::string text = printed(3, [p = percent] { CThread::load(p); });
        EXPECT_EQ(text, refused
                            ? "thread load percent " + std::to_string(percent) + " is invalid!\n"
                            : "");
    }
    TestThread thread(&untilStopped);
    EXPECT_EQ(thread.shareSocket(7), 7);
}

TEST(Thread, IsKilledWhileAnotherStopWaitsForIt) {
    CMutex mutex;
    struct Row {
        const char* what;
        std::function<void()> work;
        int runs;
    };
    const Row rows[] = {
        {"sleeps", [] { CThread::sleep(3'600'000); }, 2},
        // The record's lock is the runtime library's: a kill must not leave it shut.
        {"prints",
         [] {
             for (;;) logWarn("on and on\n");
         },
         20},
        {"holds a lock, which is nobody's for ever",
         [&] {
             mutex.enter();
             CThread::sleep(3'600'000);
         },
         1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        TestThread thread([&](TestThread&) { row.work(); });
        for (int run = 0; run < row.runs; ++run) {  // what was killed can be started again
            const std::string text = printed(3, [&] {
                thread.begin();
                std::thread stopper([&] { EXPECT_TRUE(thread.destroyThread()); });
                while (thread.looping()) CThread::sleep(1);
                EXPECT_TRUE(thread.terminateThread());
                stopper.join();
            });
            EXPECT_NE(text.find("CThread::DestroyThread() thread 'worker' has been destroyed!\n"),
                      std::string::npos);
            EXPECT_TRUE(thread.isThreadOver());
            EXPECT_FALSE(CThreadManager::instance()->hasThread(thread.getThreadID()));
        }
    }
}

TEST(Thread, IsFinishedByOneKillerInAStorm) {
    std::atomic<int> beats{0};
    std::atomic<bool> mayEnd{false};
    CSemaphore isAtWork;
    TestThread thread([&](TestThread&) {
        for (isAtWork.post(); !mayEnd; CThread::sleep(1)) ++beats;
    });
    const auto killAndStartAnew = [&] {
        mayEnd = false;
        ASSERT_TRUE(thread.createThread());
        isAtWork.pend();
        std::thread stopper([&] { thread.destroyThread(); });
        while (thread.looping()) std::this_thread::yield();
        std::thread otherKiller([&] { thread.terminateThread(); });
        thread.terminateThread();
        const bool isStarted = thread.createThread() && isAtWork.pend(1000) == 0;
        CThread::sleep(1);
        const bool isOver = thread.isThreadOver();  // the other killer may have met the new run
        const int last = beats;
        CThread::sleep(3);
        EXPECT_FALSE(isStarted && isOver && beats > last) << "it goes on behind its finish";
        mayEnd = true;
        otherKiller.join();
        stopper.join();
        thread.destroyThread();
    };
    printed(0, [&] {
        for (int turn = 0; turn < 100; ++turn) killAndStartAnew();
    });
}

TEST(Thread, SurvivesStormsOfStartsAndStops) {
    std::atomic<int> bodies{0};
    std::atomic<int> starts{0};
    {
        TestThread thread([&](TestThread& self) {
            ++bodies;
            untilStopped(self);
        });
        Tovra::Vesko::setPrintLogLevel(0);
        constexpr int enough = 300;
        together(4, [&](int number) {
            for (int turn = 0; starts < enough; ++turn) {
                if (number % 2 == 0) {
                    starts += thread.createThread() ? 1 : 0;
                } else {
                    turn % 3 == 0 ? thread.cancelThread() : thread.destroyThread();
                    std::this_thread::yield();
                }
            }
        });
        Tovra::Vesko::setPrintLogLevel(3);
    }
    EXPECT_EQ(bodies, starts);  // no body is lost, and none comes from nowhere
}

TEST(ThreadLite, RunsItsDelegateOncePerStartAndStopsItAsItEnds) {
    static CSemaphore s_began;
    static std::atomic<int> s_ends{0};
    {
        CThreadLite thread(
            +[](CThreadLite& self) {
                s_began.post();
                while (self.looping()) CThread::sleep(1);
                ++s_ends;
            },
            nullptr, 64, 0, 0);
        ASSERT_TRUE(thread.createThread());
        s_began.pend();
        EXPECT_TRUE(thread.destroyThread());
        EXPECT_EQ(s_ends, 1);
        ASSERT_TRUE(thread.createThread());
        s_began.pend();
    }
    EXPECT_EQ(s_ends, 2);
}

TEST(ThreadManager, DumpsTheYoungestFirstBehindTheMainThread) {
    TestThread first(&untilStopped);
    TestThread second(&untilStopped, 100);
    second.setThreadName("a name of more than thirty-one characters");
    constexpr const char* head =
        "Threads:\n"
        "               Name            TID  Prior State\n"
        "_______________________________________________________\n";
    const auto dump = [] { return printed(4, [] { CThreadManager::instance()->dumpThreads(); }); };
    const auto row = [](const char* name, int id, int priority, const char* state) {
        char text[128];
        std::snprintf(text, sizeof text, "%24s   %8d  %3d  %s\n", name, id, priority, state);
        return std::string(text);
    };
    EXPECT_EQ(dump(), head + row("Main", -1, 64, "Normal") + "\n");
    CThreadManager::instance()->registerMainThread();
    for (TestThread* thread : {&first, &second}) thread->begin();
    second.setTimeout(-5);
    const std::string main = row("Main", CThread::getCurrentThreadID(), 64, "Normal");
    EXPECT_EQ(dump(),
              head + main +
                  row("a name of more than thirty-one ", second.getThreadID(), 100, "Timeout") +
                  row("worker", first.getThreadID(), 64, "Normal") + "\n");
}

TEST(ThreadManager, ReportsWhoLetItsDeadlinePass) {
    CSemaphore armed;
    TestThread first([&](TestThread& self) {
        EXPECT_TRUE(CThread::setCurrentTimeout(-5));
        armed.post();
        untilStopped(self);
    });
    TestThread second(&untilStopped);
    second.setThreadName("b");
    for (TestThread* thread : {&first, &second}) thread->begin();
    armed.pend();
    const auto entry = [](const char* name, int id) {
        return name + std::string("(").append(std::to_string(id)).append(")").substr(0, 7);
    };
    CString names("stale");
    EXPECT_TRUE(CThreadManager::instance()->getTimeOutThreads(names));
    EXPECT_EQ(names.c_str(), entry("worker", first.getThreadID()));
    second.setTimeout(-5);
    CThreadManager::instance()->getTimeOutThreads(names);
    EXPECT_EQ(names.c_str(),
              entry("b", second.getThreadID()) + entry("worker", first.getThreadID()));
    first.setTimeout(0);
    second.setTimeout(60'000);
    EXPECT_FALSE(CThreadManager::instance()->getTimeOutThreads(names));
    EXPECT_STREQ(names.c_str(), "");

    EXPECT_TRUE(CThreadManager::instance()->getThreadNameByID(second.getThreadID(), names));
    EXPECT_STREQ(names.c_str(), "b");
    EXPECT_FALSE(
        CThreadManager::instance()->getThreadNameByID(CThread::getCurrentThreadID(), names));
    EXPECT_STREQ(names.c_str(), "b");
}

}  // namespace
