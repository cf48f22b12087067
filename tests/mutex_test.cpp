#include "vesko/mutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

bool triedElsewhere(CMutex& mutex) {
    bool taken = false;
    std::thread([&] { taken = mutex.TryEnter() && mutex.Leave(); }).join();
    return taken;
}

TEST(LegacyMutex, CountsTheEntriesOfItsOwnerWhoAloneLeaves) {
    for (const CMutex::Type type : {CMutex::typeNormal, CMutex::typeRecursive}) {
        SCOPED_TRACE(type);
        CMutex mutex(type);
        EXPECT_FALSE(mutex.Leave());
        EXPECT_TRUE(mutex.Enter() && mutex.Enter() && mutex.TryEnter());
        std::thread([&] { EXPECT_FALSE(mutex.Leave()); }).join();
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(triedElsewhere(mutex));
            EXPECT_TRUE(mutex.Leave());
        }
        EXPECT_TRUE(triedElsewhere(mutex));
    }
}

TEST(LegacyMutex, EnterAfterAnAbandoningOwnerIsFalseYetOwns) {
    CMutex mutexes[3];
    std::thread([&] {
        for (CMutex& mutex : mutexes) EXPECT_TRUE(mutex.Enter() && mutex.Enter());
        EXPECT_TRUE(mutexes[1].Leave() && mutexes[1].Leave());  // the one in the middle
    }).join();
    for (CMutex& mutex : mutexes) {
        EXPECT_EQ(mutex.Enter(), &mutex == &mutexes[1]);
        EXPECT_FALSE(triedElsewhere(mutex));
        EXPECT_TRUE(mutex.Leave());
        EXPECT_TRUE(mutex.Enter()) << "abandonment is told once";
        EXPECT_TRUE(mutex.Leave());
        EXPECT_TRUE(triedElsewhere(mutex));
    }
}

TEST(LegacyMutex, ExcludesThreads) {
    CMutex mutex;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 10'000; ++i) {
            const CGuard guard(mutex);
            ++count;
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(count, 20'000);
}

}  // namespace
