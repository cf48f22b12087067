#include "vesko/vesko3/locks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace Tovra::Vesko;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Enough turns for threads to meet inside the lock on any machine.
template <class Mutex, class Guard>
int countUnderLock() {
    Mutex mutex;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 20'000; ++i) {
            const Guard guard(mutex);
            ++count;
        }
    };
    std::thread other(work);
    work();
    other.join();
    return count;
}

TEST(Mutex, ExcludesThreads) {
    EXPECT_EQ((countUnderLock<CMutex, CGuard>()), 40'000);
    EXPECT_EQ((countUnderLock<CRecursiveMutex, CRecursiveGuard>()), 40'000);
}

TEST(Mutex, PassesItsHolderAgainAndStopsOthers) {
    CMutex mutex;
    const auto triedElsewhere = [&] {
        bool taken = false;
        std::thread([&] { taken = mutex.tryEnter() && mutex.leave(); }).join();
        return taken;
    };
    EXPECT_TRUE(mutex.enter() && mutex.tryEnter());
    EXPECT_TRUE(mutex.leave());
    EXPECT_FALSE(triedElsewhere());
    EXPECT_TRUE(mutex.leave());
    EXPECT_TRUE(triedElsewhere());
}

TEST(RecursiveMutex, IsHeldUntilTheLastLeave) {
    CRecursiveMutex mutex;
    CSemaphore entered;
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(mutex.enter());
    std::thread other([&] {
        EXPECT_TRUE(mutex.enter());
        entered.post();
        EXPECT_TRUE(mutex.enter() && mutex.leave() && mutex.leave());
    });
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(mutex.leave());
        EXPECT_EQ(entered.pend(10), -1) << "held after leave " << i + 1;
    }
    EXPECT_TRUE(mutex.leave());
    EXPECT_EQ(entered.pend(), 0);
    other.join();
}

TEST(Semaphore, GivesEachCountOnceAndStopsAtItsMaximum) {
    CSemaphore two(1);
    EXPECT_EQ(two.post(), 0);
    for (const int expected : {0, 0, -1}) EXPECT_EQ(two.tryPend(), expected);

    CSemaphore full(0x7FFFFFFF);
    EXPECT_EQ(full.post(), -1);
    EXPECT_EQ(full.pend(0), 0);
    EXPECT_EQ(full.post(), 0);
    EXPECT_EQ(full.post(), -1);
}

TEST(Semaphore, WaitsAsLongAsToldAndWithoutLimit) {
    CSemaphore semaphore;
    const auto start = Clock::now();
    EXPECT_EQ(semaphore.pend(50), -1);
    EXPECT_GE(Clock::now() - start, milliseconds(50));

    std::thread poster([&] {
        std::this_thread::sleep_for(milliseconds(20));
        semaphore.post();
    });
    EXPECT_EQ(semaphore.pend(0xFFFFFFFF), 0);
    poster.join();
}

TEST(Semaphore, MayBeEndedByTheWaiterAsSoonAsItWakes) {
    for (int i = 0; i < 2'000; ++i) {
        auto semaphore = std::make_unique<CSemaphore>();
        std::thread poster([posted = semaphore.get()] { posted->post(); });
        EXPECT_EQ(semaphore->pend(), 0);
        semaphore.reset();
        poster.join();
    }
}

TEST(Semaphore, AsksForACountFromZeroOn) {
    EXPECT_DEATH(CSemaphore(-1), R"(assertion \(m_internal->m_handle\) failed in )");
}

TEST(ThreadSpecific, HoldsAValueForEachThread) {
    CThreadSpecific slot;
    int mine = 0;
    void* value = &mine;
    EXPECT_TRUE(slot.setValue(&mine));
    std::thread([&] { EXPECT_TRUE(slot.getValue(&value)); }).join();
    EXPECT_EQ(value, nullptr);
    EXPECT_TRUE(slot.getValue(&value));
    EXPECT_EQ(value, &mine);
}

TEST(ThreadSpecific, RunsOutRefusesAndComesBackEmpty) {
    std::vector<std::unique_ptr<CThreadSpecific>> slots;
    do {
        slots.push_back(std::make_unique<CThreadSpecific>());
        ASSERT_LT(slots.size(), 1'000'000U);
    } while (slots.back()->setValue(&slots));
    void* value = &slots;
    EXPECT_FALSE(slots.back()->valid());
    EXPECT_FALSE(slots.back()->getValue(&value));
    EXPECT_EQ(value, &slots);

    slots.clear();
    const CThreadSpecific again;
    EXPECT_TRUE(again.valid() && again.getValue(&value));
    EXPECT_EQ(value, nullptr);
}

}  // namespace
