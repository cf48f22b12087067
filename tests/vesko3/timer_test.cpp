#include "vesko/vesko3/timer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "support/crowd.h"
#include "support/manualclock.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/threadmanager.h"
#include "vesko/vesko3/time.h"
#include "vesko/vesko3/timermanager.h"
#include "vesko3/timermanagerinternal.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;

// A callback that counts its calls, and may hold its worker until it is let on.
struct Calls {
    void call(unsigned long param) {
        lastParam = param;
        ++count;
        began.post();
        if (isHeld) mayEnd.pend();
    }
    TFunction1<void, unsigned long> proc() { return {&Calls::call, this}; }

    std::atomic<int> count{0};
    std::atomic<unsigned long> lastParam{0};
    std::atomic<bool> isHeld{false};
    CSemaphore began;
    CSemaphore mayEnd;
};

// The tests on the real clock come first: it stands still behind the others.
TEST(TimerStorm, StartsStopsAndEndsFromEverywhere) {
    // Callbacks and four threads work on the same timers, which come and go.
    struct Busy {
        ~Busy() {
            timer.stopAndWait();
            EXPECT_EQ(running, 0);  // no call is in flight any more
        }
        void call(unsigned long param) {
            const auto turn = static_cast<unsigned int>(param);
            ++running;
            if (turn % 3 == 0) timer.start({&Busy::call, this}, turn % 7, turn % 5, turn + 1, 0);
            if (turn % 3 == 1) timer.stop(turn % 2 == 0);
            if (turn % 3 == 2) timer.stopAndWait();
            --running;
        }
        CTimer timer{"storm"};
        std::atomic<int> running{0};
    };
    Tovra::Testing::together(4, [](int number) {
        const auto seed = static_cast<unsigned int>(number) * 1000;
        for (unsigned int turn = seed; turn < seed + 150; ++turn) {
            Busy busy;
            std::thread other([&] { busy.timer.start({&Busy::call, &busy}, 0, 1, turn, 5); });
            busy.timer.start({&Busy::call, &busy}, turn % 3, turn % 4, turn, 0);
            busy.timer.setPeriodTime(turn % 6);
            other.join();
            if (turn % 4 == 0) CThread::sleep(1);
        }
    });
}

TEST(TimerClock, FollowsTheRealOne) {
    Calls calls;
    CTimer timer("real");
    const auto begin = std::chrono::steady_clock::now();
    timer.start(calls.proc(), 50, 50, 0, 0);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(calls.began.pend(10'000), 0);
    const auto taken = std::chrono::steady_clock::now() - begin;
    timer.stopAndWait();
    EXPECT_GE(taken, std::chrono::milliseconds(125));  // a delay counts from the last tick
}

// Time stands still but for `pass`; nothing may be left armed when a test ends.
class Timer : public testing::Test {
protected:
    Timer() { pass(2); }
    ~Timer() override {
        timer.stopAndWait();
        EXPECT_EQ(dump().find("Idle\n"), std::string::npos);
    }

    static std::string dump() {
        return printed(4, [] { CTimerManager::instance()->dumpTimers(); });
    }

    void pass(int milliSeconds) {
        clock.step(milliSeconds * std::int64_t{1'000'000});
        TimerManagerInternal::needed().tick();
    }

    // The counter is behind a whole millisecond by less than one: both sides are told by two steps.
    void expectCallBetween(int early, int late, int callsBefore) {
        pass(early);
        EXPECT_EQ(calls.count, callsBefore);
        pass(late - early);
        awaitCall();
        EXPECT_EQ(calls.count, callsBefore + 1);
    }

    void awaitCall() { ASSERT_EQ(calls.began.pend(10'000), 0); }

    void awaitWholeCall() {
        awaitCall();
        waitUntilIdle();
    }

    void waitUntilIdle() {
        while (timer.isRunning()) CThread::sleep(1);
    }

    ManualClock clock;
    Calls calls;
    CTimer timer{"timer"};
};

TEST_F(Timer, CallsOnceBehindItsDelay) {
    EXPECT_TRUE(timer.start(calls.proc(), 100, 0, 42, 0));
    EXPECT_FALSE(timer.isCalled());
    expectCallBetween(99, 102, 0);
    EXPECT_EQ(calls.lastParam, 42U);
    EXPECT_FALSE(timer.isStarted());
    EXPECT_TRUE(timer.isCalled());
    pass(1000);
    waitUntilIdle();
    EXPECT_EQ(calls.count, 1);
}

TEST_F(Timer, KeepsItsGridAndSkipsWhatWasMissed) {
    EXPECT_TRUE(timer.start(calls.proc(), 0, 200, 0, 0));
    awaitWholeCall();
    expectCallBetween(199, 202, 1);  // 2 behind the grid
    waitUntilIdle();
    pass(1000);  // one call for five periods
    awaitWholeCall();
    expectCallBetween(196, 200, 3);
    waitUntilIdle();
    timer.setPeriodTime(500);
    expectCallBetween(498, 502, 4);
}

TEST_F(Timer, QueuesNoCallWhileOneIsInFlight) {
    calls.isHeld = true;
    EXPECT_TRUE(timer.start(calls.proc(), 0, 100, 0, 0));
    awaitCall();
    for (int i = 0; i < 3; ++i) pass(100);
    EXPECT_FALSE(timer.start(calls.proc(), 0, 100, 0, 0));
    EXPECT_TRUE(timer.start(calls.proc(), 100, 0, 0, 0));
    calls.isHeld = false;
    calls.mayEnd.post();
    waitUntilIdle();
    EXPECT_EQ(calls.count, 1);
    EXPECT_TRUE(timer.stop(false));
}

TEST_F(Timer, MakesTheCallOfAStoppedOneShotNowWhenAsked) {
    timer.start(calls.proc(), 100, 0, 0, 0);
    EXPECT_TRUE(timer.stop(true));
    awaitWholeCall();
    timer.start(calls.proc(), 100, 100, 0, 0);
    EXPECT_TRUE(timer.stop(true));  // a periodic one makes none
    EXPECT_EQ(calls.count, 1);
}

TEST_F(Timer, WaitsForACallInFlight) {
    calls.isHeld = true;
    timer.start(calls.proc(), 0, 0, 0, 0);
    awaitCall();
    std::thread releaser([&] {
        CThread::sleep(50);
        calls.mayEnd.post();
    });
    const std::string text = printed(4, [&] { EXPECT_TRUE(timer.stopAndWait()); });
    releaser.join();
    EXPECT_FALSE(timer.isRunning());
    EXPECT_NE(text.find("CTimer::Stop 'timer' wait callback exit!\n"), std::string::npos);
}

TEST_F(Timer, ServesTheYoungestFirstAmongEquals) {
    CTimer timers[] = {CTimer("a"), CTimer("b"), CTimer("c"), CTimer("d"), CTimer("e")};
    constexpr unsigned int delays[] = {300, 100, 200, 100, 300};
    for (std::size_t i = 0; i < 5; ++i) timers[i].start(calls.proc(), delays[i], 0, 0, 7);
    const std::string text = dump();
    std::string order;
    for (std::size_t at = text.find("___\n") + 4; text[at] == ' '; at = text.find('\n', at) + 1) {
        order += text[text.find_first_not_of(' ', at)];
    }
    EXPECT_EQ(order, "dbcea");
    EXPECT_NE(text.find(" Milli-Seconds Elapsed )\n"
                        "            Name            NextTime RunningTime Period   Used/Timeout "
                        "State\n"),
              std::string::npos);
}

TEST_F(Timer, ShowsAndReportsALongCall) {
    calls.isHeld = true;
    timer.setName("a timer of more than thirty-one characters");
    timer.start(calls.proc(), 10, 10'000, 0, 1000);
    timer.enableStat(true);
    pass(15);
    awaitCall();
    CString names;
    pass(1500);
    EXPECT_TRUE(CThreadManager::instance()->getTimeOutThreads(names));
    EXPECT_NE(names.find("a timer of more than thirty-one("), CString::npos);
    EXPECT_NE(dump().find("  10000   1500/  1000 Running\n"), std::string::npos);
    calls.isHeld = false;
    calls.mayEnd.post();
    waitUntilIdle();
    EXPECT_NE(dump().find("        1500  10000      0/  1000 Idle\n"), std::string::npos);
}

TEST_F(Timer, KeepsNoMoreIdleWorkersThanTheLimit) {
    const auto pooled = [] {
        const std::string table = printed(4, [] { CThreadManager::instance()->dumpThreads(); });
        int count = 0;
        for (std::size_t at = 0; (at = table.find("[Pooled]", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    };
    CTimerManager::instance()->limitIdlePooled(2);
    calls.isHeld = true;
    std::vector<std::unique_ptr<CTimer>> timers;
    for (int i = 0; i < 5; ++i) {
        timers.push_back(std::make_unique<CTimer>("many"));
        timers.back()->start(calls.proc(), 0, 0, 0, 0);
    }
    for (int i = 0; i < 5; ++i) calls.began.pend();
    for (int i = 0; i < 5; ++i) calls.mayEnd.post();
    timers.clear();
    for (int look = 0; look < 5000 && pooled() > 2; ++look) CThread::sleep(2);
    EXPECT_LE(pooled(), 2);
    CTimerManager::instance()->limitIdlePooled(-1);
}

// A process that ends with armed and static timers, and with a worker that is busy for long.
[[noreturn]] void endWithBusyTimers() {
    ::alarm(60);
    static Calls s_calls;
    static CTimer s_timer("static");
    s_timer.start(s_calls.proc(), 0, 10, 0, 0);
    s_calls.began.pend();
    static auto& s_unended = *new std::vector<CTimer*>;  // and yet no leak
    const auto start = [](const char* name, TFunction1<void, unsigned long> proc) {
        s_unended.push_back(new CTimer(name));
        s_unended.back()->start(proc, 0, 0, 0, 0);
    };
    start(
        "busy", +[](unsigned long) { CThread::sleep(600'000); });
    while (!s_unended[0]->isRunning()) CThread::sleep(1);
    CThread::sleep(20);
    // Workers that begin and end while the managers go.
    for (int i = 0; i < 60; ++i)
        start(
            "late", +[](unsigned long) { CThread::sleep(5); });
    std::exit(17);
}

TEST(TimerExit, EndsWithoutWaitingForABusyWorker) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fork alone would have no tick thread
    EXPECT_EXIT(endWithBusyTimers(), testing::ExitedWithCode(17), "");
}

}  // namespace
