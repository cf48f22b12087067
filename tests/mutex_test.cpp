#include "vesko/mutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

bool triedElsewhere(CMutex& mutex) {
    bool taken = false;
    std::thread([&] {
        taken = mutex.TryEnter();
        if (taken) mutex.Leave();
    }).join();
    return taken;
}

TEST(LegacyMutex, CountsTheEntriesOfItsOwner) {
    for (const CMutex::Type type : {CMutex::typeNormal, CMutex::typeRecursive}) {
        SCOPED_TRACE(type);
        CMutex mutex(type);
        EXPECT_TRUE(mutex.Enter());
        EXPECT_TRUE(mutex.Enter());
        EXPECT_TRUE(mutex.TryEnter());
        EXPECT_FALSE(triedElsewhere(mutex));
        EXPECT_TRUE(mutex.Leave());
        EXPECT_TRUE(mutex.Leave());
        EXPECT_FALSE(triedElsewhere(mutex));
        EXPECT_TRUE(mutex.Leave());
        EXPECT_TRUE(triedElsewhere(mutex));
    }
}

TEST(LegacyMutex, IsLeftByItsOwnerAlone) {
    CMutex mutex;
    EXPECT_FALSE(mutex.Leave());
    ASSERT_TRUE(mutex.Enter());
    std::thread([&] { EXPECT_FALSE(mutex.Leave()); }).join();
    EXPECT_FALSE(triedElsewhere(mutex));
    EXPECT_TRUE(mutex.Leave());
}

TEST(LegacyMutex, EnterAfterAnAbandoningOwnerIsFalseYetOwns) {
    CMutex mutex;
    std::thread([&] {
        EXPECT_TRUE(mutex.Enter());
        EXPECT_TRUE(mutex.Enter());
    }).join();
    EXPECT_FALSE(mutex.Enter());
    EXPECT_FALSE(triedElsewhere(mutex));
    EXPECT_TRUE(mutex.Leave());
    EXPECT_TRUE(mutex.Enter()) << "abandonment is told once";
    EXPECT_TRUE(mutex.Leave());
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
