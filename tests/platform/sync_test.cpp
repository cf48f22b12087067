#include "platform/sync.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace Tovra::Platform;
using std::chrono::milliseconds;

TEST(Waitable, RefusesCountsOutOfRangeNullAndObjectsOfAnotherKind) {
    constexpr std::int32_t refused[][2] = {{-1, 1}, {2, 1}, {0, 0}, {0, -1}};
    for (const auto& [initial, maximum] : refused) {
        EXPECT_EQ(CreateSemaphoreA(initial, maximum), nullptr) << initial << " of " << maximum;
    }
    const HANDLE mutex = CreateMutexA();
    const HANDLE semaphore = CreateSemaphoreA(0, 2);
    EXPECT_FALSE(ReleaseSemaphore(nullptr, 1) || ReleaseSemaphore(mutex, 1));
    EXPECT_FALSE(ReleaseMutex(semaphore) || SetEvent(semaphore) || ResetEvent(semaphore));
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_TRUE(CloseHandle(mutex) && CloseHandle(semaphore));
}

void expectReleased(HANDLE handle, void (*release)(HANDLE)) {
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&, own = DuplicateHandle(handle)] {
            EXPECT_EQ(WaitForSingleObject(own, 60'000), WAIT_OBJECT_0);
            CloseHandle(own);
        });
    }
    std::this_thread::sleep_for(milliseconds(100));  // most are asleep by now
    release(handle);
    CloseHandle(handle);
}

TEST(Waitable, ReleasesAllThatWaitAtOnceEvenWhenResetAndClosed) {
    expectReleased(CreateSemaphoreA(0, 8),
                   [](HANDLE semaphore) { EXPECT_TRUE(ReleaseSemaphore(semaphore, 4)); });
    expectReleased(CreateEventA(), [](HANDLE event) {
        EXPECT_TRUE(SetEvent(event) && ResetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 10), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event) && SetEvent(event));  // for one that came late
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
    const std::jthread owner([&] {
        WaitForSingleObject(mutex, INFINITE);
        ReleaseSemaphore(owned, 1);
        std::this_thread::sleep_for(milliseconds(20));
    });
    WaitForSingleObject(owned, INFINITE);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex) && CloseHandle(mutex) && CloseHandle(owned));
}

}  // namespace
