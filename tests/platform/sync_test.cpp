#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using namespace Tovra::Platform;
using std::chrono::milliseconds;

TEST(Waitable, RefusesCountsOutOfRangeNullAndObjectsOfAnotherKind) {
    constexpr std::tuple<std::int32_t, std::int32_t, bool> rows[] = {
        {0, 1, true},  {1, 1, true},  {0, 0x7FFFFFFF, true}, {-1, 1, false},
        {2, 1, false}, {0, 0, false}, {0, -1, false}};
    for (const auto& [initial, maximum, made] : rows) {
        const HANDLE handle = CreateSemaphoreA(initial, maximum);
        EXPECT_EQ(handle != nullptr, made) << initial << " of " << maximum;
        EXPECT_EQ(CloseHandle(handle), made);
    }
    const HANDLE mutex = CreateMutexA();
    const HANDLE semaphore = CreateSemaphoreA(0, 2);
    EXPECT_FALSE(ReleaseSemaphore(nullptr, 1) || ReleaseSemaphore(mutex, 1));
    for (const HANDLE other : {HANDLE{}, semaphore}) {
        EXPECT_FALSE(ReleaseMutex(other) || SetEvent(other) || ResetEvent(other));
    }
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_TRUE(CloseHandle(mutex) && CloseHandle(semaphore));
}

void expectReleased(HANDLE handle, void (*release)(HANDLE)) {
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&, own = DuplicateHandle(handle)] {
            released += WaitForSingleObject(own, 60'000) == WAIT_OBJECT_0 ? 1 : 0;
            CloseHandle(own);
        });
    }
    std::this_thread::sleep_for(milliseconds(100));  // most are asleep by now
    release(handle);
    CloseHandle(handle);
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(released, 4);
}

TEST(Waitable, ReleasesAllThatWaitAtOnceEvenWhenResetAndClosed) {
    expectReleased(CreateSemaphoreA(0, 8),
                   [](HANDLE semaphore) { EXPECT_TRUE(ReleaseSemaphore(semaphore, 4)); });
    expectReleased(CreateEventA(), [](HANDLE event) {
        EXPECT_TRUE(SetEvent(event) && ResetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 10), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event) && SetEvent(event));  // for one that came late
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    });
}

TEST(Waitable, AClosedHandleEndsNoWaitEarly) {
    const HANDLE handle = CreateSemaphoreA(0, 1);
    const std::jthread closer([handle] {
        std::this_thread::sleep_for(milliseconds(20));
        EXPECT_TRUE(CloseHandle(handle));
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(handle, 100), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(100));
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
    owner.join();
    EXPECT_TRUE(ReleaseMutex(mutex) && CloseHandle(mutex) && CloseHandle(owned));
}

}  // namespace
