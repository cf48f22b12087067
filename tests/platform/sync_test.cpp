#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace Tovra::Platform;
using std::chrono::milliseconds;

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

TEST(Waitable, AClosedHandleEndsNoWaitEarly) {
    const HANDLE handle = CreateSemaphoreA(0, 1);
    std::thread waiter([handle] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(WaitForSingleObject(handle, 100), WAIT_TIMEOUT);
        EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(100));
    });
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

TEST(Event, LetsEveryoneThroughUntilItIsReset) {
    const HANDLE event = CreateEventA();
    EXPECT_EQ(WaitForSingleObject(event, 10), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    const HANDLE semaphore = CreateSemaphoreA(0, 1);
    EXPECT_FALSE(SetEvent(semaphore));
    EXPECT_FALSE(ResetEvent(nullptr));
    CloseHandle(semaphore);
    CloseHandle(event);
}

TEST(Event, ReleasesItsWaitersEvenWhenItIsResetAtOnceAndClosed) {
    const HANDLE event = CreateEventA();
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&, own = DuplicateHandle(event)] {
            released += WaitForSingleObject(own, 60'000) == WAIT_OBJECT_0 ? 1 : 0;
            CloseHandle(own);
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // most are asleep by now
    SetEvent(event);
    ResetEvent(event);
    SetEvent(event);  // for one that came late
    CloseHandle(event);
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(released, 3);
}

}  // namespace
