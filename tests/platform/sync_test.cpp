#include "platform/sync.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace Tovra::Platform;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(CriticalSection, PassesItsHolderAndStopsOthers) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);
    std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)); }).join();
    LeaveCriticalSection(&section);
    std::thread([&] {
        EXPECT_TRUE(TryEnterCriticalSection(&section));
        LeaveCriticalSection(&section);
    }).join();
    DeleteCriticalSection(&section);
}

TEST(CriticalSection, LosesNoWakeUp) {
    CRITICAL_SECTION section;
    long count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20'000; ++i) {
                EnterCriticalSection(&section);
                ++count;
                LeaveCriticalSection(&section);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(count, 80'000);
}

TEST(Semaphore, RefusesCountsOutsideItsRange) {
    struct Case {
        std::int32_t initial, maximum;
        bool made;
    };
    constexpr Case cases[] = {{0, 1, true},  {1, 1, true},  {0, 0x7FFFFFFF, true}, {-1, 1, false},
                              {2, 1, false}, {0, 0, false}, {0, -1, false}};
    for (const auto& [initial, maximum, made] : cases) {
        SCOPED_TRACE(testing::Message() << initial << " of " << maximum);
        const HANDLE handle = CreateSemaphoreA(initial, maximum);
        EXPECT_EQ(handle != nullptr, made);
        EXPECT_EQ(CloseHandle(handle), made);
    }
}

TEST(Semaphore, PostsUpToItsMaximumAndNoFurther) {
    const HANDLE handle = CreateSemaphoreA(1, 3);
    EXPECT_FALSE(ReleaseSemaphore(handle, 3));
    EXPECT_FALSE(ReleaseSemaphore(handle, 0));
    EXPECT_FALSE(ReleaseSemaphore(handle, -1));
    EXPECT_TRUE(ReleaseSemaphore(handle, 2));
    EXPECT_FALSE(ReleaseSemaphore(handle, 1));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(handle));
}

TEST(Semaphore, TimesOutNoEarlierThanTold) {
    const HANDLE handle = CreateSemaphoreA(0, 1);
    const auto start = Clock::now();
    EXPECT_EQ(WaitForSingleObject(handle, 50), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - start, milliseconds(50));
    EXPECT_TRUE(CloseHandle(handle));
}

TEST(Semaphore, OnePostOfManyWakesAsManyWaiters) {
    const HANDLE handle = CreateSemaphoreA(0, 8);
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back(
            [&] { EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0); });
    }
    EXPECT_TRUE(ReleaseSemaphore(handle, 4));
    for (auto& waiter : waiters) waiter.join();
    EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(handle));
}

TEST(Semaphore, MayBeEndedByTheWaiterAsSoonAsItWakes) {
    for (int i = 0; i < 2'000; ++i) {
        const HANDLE handle = CreateSemaphoreA(0, 1);
        std::thread poster([handle] { ReleaseSemaphore(handle, 1); });
        EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0);
        CloseHandle(handle);
        poster.join();
    }
}

TEST(Waitable, AClosedHandleEndsNoWaitEarly) {
    const HANDLE handle = CreateSemaphoreA(0, 1);
    std::thread waiter([handle] { EXPECT_EQ(WaitForSingleObject(handle, 100), WAIT_TIMEOUT); });
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_TRUE(CloseHandle(handle));
    waiter.join();
}

TEST(Waitable, RefusesNullAndObjectsOfAnotherKind) {
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_FALSE(CloseHandle(nullptr));
    EXPECT_FALSE(ReleaseMutex(nullptr));
    EXPECT_FALSE(ReleaseSemaphore(nullptr, 1));
    const HANDLE mutex = CreateMutexA();
    EXPECT_FALSE(ReleaseSemaphore(mutex, 1));
    const HANDLE semaphore = CreateSemaphoreA(1, 2);
    EXPECT_FALSE(ReleaseMutex(semaphore));
    CloseHandle(mutex);
    CloseHandle(semaphore);
}

TEST(OwnedMutex, TellsAbandonmentOnceAndFreesEveryMutexOfADeadThread) {
    const HANDLE mutexes[] = {CreateMutexA(), CreateMutexA(), CreateMutexA()};
    std::thread([&] {
        for (const HANDLE mutex : mutexes) {
            EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
        }
        EXPECT_TRUE(ReleaseMutex(mutexes[1]));  // the middle one leaves the list in order
    }).join();
    EXPECT_EQ(WaitForSingleObject(mutexes[0], 0), WAIT_ABANDONED);
    EXPECT_EQ(WaitForSingleObject(mutexes[1], 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutexes[2], 0), WAIT_ABANDONED);
    for (const HANDLE mutex : mutexes) {
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_TRUE(CloseHandle(mutex));
    }
}

TEST(OwnedMutex, WakesASleeperWhenItsOwnerEnds) {
    const HANDLE mutex = CreateMutexA();
    const HANDLE owned = CreateSemaphoreA(0, 1);
    std::thread owner([&] {
        WaitForSingleObject(mutex, INFINITE);
        ReleaseSemaphore(owned, 1);
        std::this_thread::sleep_for(milliseconds(20));
    });
    WaitForSingleObject(owned, INFINITE);
    EXPECT_EQ(WaitForSingleObject(mutex, 1), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex));
    owner.join();
    CloseHandle(mutex);
    CloseHandle(owned);
}

}  // namespace
