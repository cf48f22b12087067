#include "vesko/vesko3/locks.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "support/crowd.h"

namespace {

using namespace Tovra::Vesko;

template <class Mutex, class Guard>
void expectExclusion() {
    Mutex mutex;
    int count = 0;
    Tovra::Testing::together(2, [&](int) {
        for (int i = 0; i < 20'000; ++i) {
            const Guard guard(mutex);
            ++count;
        }
    });
    EXPECT_EQ(count, 40'000);
}

TEST(Mutex, ExcludesThreads) {
    expectExclusion<CMutex, CGuard>();
    expectExclusion<CRecursiveMutex, CRecursiveGuard>();
}

TEST(Mutex, PassesItsHolderAgainAndStopsOthersUntilTheLastLeave) {
    CMutex mutex;
    CRecursiveMutex recursive;
    EXPECT_TRUE(mutex.enter() && mutex.tryEnter() && recursive.enter() && recursive.enter());
    CSemaphore entered;
    const std::jthread other([&] {
        EXPECT_TRUE(recursive.enter() && recursive.enter() && mutex.tryEnter());
        entered.post();
        EXPECT_TRUE(recursive.leave() && recursive.leave() && mutex.leave());
    });
    for (int leave = 1; leave <= 2; ++leave) {
        EXPECT_EQ(entered.pend(10), -1) << "held before leave " << leave;
        std::thread([&] { EXPECT_FALSE(mutex.tryEnter()); }).join();
        EXPECT_TRUE(mutex.leave() && recursive.leave());
    }
    EXPECT_EQ(entered.pend(), 0);
}

TEST(Semaphore, GivesEachCountOnceFromZeroToItsMaximum) {
    CSemaphore one(1);
    for (const int expected : {0, -1}) EXPECT_EQ(one.tryPend(), expected);
    CSemaphore full(0x7FFFFFFE);
    for (const int expected : {0, -1}) EXPECT_EQ(full.post(), expected);
    EXPECT_DEATH(CSemaphore(-1), R"(assertion \(m_internal->m_handle\) failed in )");
}

TEST(Semaphore, MayBeEndedByTheWaiterAsSoonAsItWakes) {
    for (int i = 0; i < 2'000; ++i) {
        auto semaphore = std::make_unique<CSemaphore>();
        const std::jthread poster([posted = semaphore.get()] { posted->post(); });
        EXPECT_EQ(semaphore->pend(0xFFFFFFFF), 0);
        semaphore.reset();
    }
}

TEST(ThreadSpecific, HoldsAValueForEachThreadUntilSlotsRunOutAndComesBackEmpty) {
    std::vector<std::unique_ptr<CThreadSpecific>> slots;
    do {
        slots.push_back(std::make_unique<CThreadSpecific>());
        ASSERT_LT(slots.size(), 1'000'000U);
    } while (slots.back()->setValue(&slots));
    void* value = &value;
    EXPECT_FALSE(slots.back()->valid() || slots.back()->getValue(&value));
    EXPECT_EQ(value, &value);
    std::thread([&] { EXPECT_TRUE(slots[0]->getValue(&value)); }).join();
    EXPECT_EQ(value, nullptr);
    EXPECT_TRUE(slots[0]->getValue(&value) && value == &slots);
    slots.clear();
    const CThreadSpecific again;
    EXPECT_TRUE(again.valid() && again.getValue(&value) && value == nullptr);
}

}  // namespace
