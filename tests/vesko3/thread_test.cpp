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
        bool (CThread::*call)();
        bool result;
        const char* message;
    };
    constexpr const char* exited = "CThread::DestroyThread() thread 'worker' has exited!\n";
    constexpr const char* destroyed =
        "CThread::DestroyThread() thread 'worker' has been destroyed!\n";
    constexpr const char* notThere = "CThread::cancelThread() thread 'worker' not exist!\n";
    const Step steps[] = {
        {"idle: destroy", &CThread::destroyThread, false, exited},
        {"idle: cancel", &CThread::cancelThread, false, notThere},
        {"idle: start", &CThread::createThread, true, ""},
        {"running: start", &CThread::createThread, false,
         "CThread::CreateThread() thread 'worker' is still running!\n"},
        {"running: cancel", &CThread::cancelThread, true, ""},
        {"cancelled: cancel", &CThread::cancelThread, false, notThere},
        {"cancelled: start", &CThread::createThread, true, ""},
        {"running: destroy", &CThread::destroyThread, true, ""},
        {"over: destroy", &CThread::destroyThread, false, destroyed},
        {"over: terminate", &CThread::terminateThread, false, destroyed},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        bool result = !step.result;
        const std::string text = printed(3, [&] { result = (thread.*step.call)(); });
        EXPECT_EQ(result, step.result);
        EXPECT_EQ(withoutPrefix(text), step.message);
    }
    TestThread unborn(&untilStopped);
    EXPECT_NE(printed(3, [&] { EXPECT_FALSE(unborn.terminateThread()); })
                  .find("handle is null, can't be terminated\n"),
              std::string::npos);
}

TEST(Thread, EndsItselfByReturningOrAtOnce) {
    TestThread polite([](TestThread& self) {
        EXPECT_TRUE(self.destroyThread());
        EXPECT_FALSE(self.looping());
    });
    polite.runToItsEnd();

    std::atomic<bool> survived{false};
    TestThread rash([&](TestThread& self) {
        self.terminateThread();
        survived = true;
    });
    rash.runToItsEnd();
    EXPECT_FALSE(survived);
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
        int scheduler;
        int atLeastNice;
    };
    constexpr Row rows[] = {{127, SCHED_IDLE, 0}, {126, SCHED_OTHER, 10}, {73, SCHED_OTHER, 10},
                            {72, SCHED_OTHER, 5}, {69, SCHED_OTHER, 5},   {68, SCHED_OTHER, 0},
                            {64, SCHED_OTHER, 0}, {63, SCHED_OTHER, -5},  {6, SCHED_OTHER, -10}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.priority);
        TestThread thread(&untilStopped, row.priority);
        thread.begin();
        const int id = thread.getThreadID();
        EXPECT_EQ(::sched_getscheduler(id) & ~SCHED_RESET_ON_FORK, row.scheduler);
        EXPECT_GE(::getpriority(PRIO_PROCESS, static_cast<id_t>(id)), row.atLeastNice);
    }
    TestThread urgent(&untilStopped, 5);
    EXPECT_TRUE(urgent.createThread());
}

TEST(Thread, IsTimedOutOnlyPastItsDeadline) {
    ManualClock clock;
    TestThread thread(&untilStopped);
    thread.setTimeout(100);
    clock.step(99'000'000);
    EXPECT_FALSE(thread.isTimeout());
    clock.step(3'000'000);
    EXPECT_TRUE(thread.isTimeout());
}

TEST(Thread, RefusesALoadOutsideOneToAHundred) {
    const std::string text = printed(3, [] {
        for (const int percent : {0, 1, 100, 101}) CThread::load(percent);
    });
    EXPECT_EQ(text, "thread load percent 0 is invalid!\nthread load percent 101 is invalid!\n");
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
            printed(0, [&] {
                thread.begin();
                std::thread stopper([&] { EXPECT_TRUE(thread.destroyThread()); });
                while (thread.looping()) CThread::sleep(1);
                EXPECT_TRUE(thread.terminateThread());
                stopper.join();
            });
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

TEST(ThreadLite, RunsItsDelegateAndStopsItAsItEnds) {
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
    }
    EXPECT_EQ(s_ends, 1);
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
    second.setTimeout(-5);
    EXPECT_TRUE(CThreadManager::instance()->getTimeOutThreads(names));
    EXPECT_EQ(names.c_str(),
              entry("b", second.getThreadID()) + entry("worker", first.getThreadID()));
    first.setTimeout(0);
    second.setTimeout(60'000);
    EXPECT_FALSE(CThreadManager::instance()->getTimeOutThreads(names));
    EXPECT_STREQ(names.c_str(), "");

    EXPECT_TRUE(CThreadManager::instance()->getThreadNameByID(second.getThreadID(), names));
    EXPECT_STREQ(names.c_str(), "b");
}

}  // namespace
