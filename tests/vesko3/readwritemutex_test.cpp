#include "vesko/vesko3/readwritemutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/capture.h"
#include "support/crowd.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/thread.h"

namespace {

using namespace Tovra::Vesko;

constexpr unsigned int aMoment = 100;  // in which a thread of a busy machine gets to its wait

// Enters on a thread of its own, and leaves when it is told to.
class Holder {
public:
    Holder(CReadWriteMutex& lock, bool writes)
        : m_thread([this, &lock, writes] {
              writes ? lock.enterWriting() : lock.enterReading();
              m_entered.post();
              m_mayLeave.pend();
              EXPECT_TRUE(lock.leave());
          }) {}
    ~Holder() {
        leave();
        m_thread.join();
    }
    bool isIn() { return m_entered.pend(10'000) == 0; }
    bool staysOut() { return m_entered.pend(aMoment) != 0; }
    void leave() { m_mayLeave.post(); }

private:
    CSemaphore m_entered;
    CSemaphore m_mayLeave;
    std::thread m_thread;
};

struct ReadWriteMutex : testing::TestWithParam<RWPriority> {
    CReadWriteMutex lock{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Modes, ReadWriteMutex, testing::Values(priorityDefault, priorityWriter));

TEST_P(ReadWriteMutex, LetsReadersInTogetherAndAWriterAlone) {
    Holder first(lock, false);
    Holder second(lock, false);
    EXPECT_TRUE(first.isIn());
    EXPECT_TRUE(second.isIn());
    Holder writer(lock, true);
    EXPECT_TRUE(writer.staysOut());
    Holder late(lock, false);
    EXPECT_TRUE(late.staysOut());  // behind the writer that waits
    first.leave();
    EXPECT_TRUE(writer.staysOut());
    second.leave();
    EXPECT_TRUE(writer.isIn());
    writer.leave();
    EXPECT_TRUE(late.isIn());
}

TEST_P(ReadWriteMutex, ExcludesInAStorm) {
    std::atomic<int> readers{0};
    int value = 0;  // what a broken exclusion tears, and the thread sanitizer watches
    Tovra::Testing::together(4, [&](int number) {
        for (int i = 0; i < 2'000; ++i) {
            if (number % 2 == 0) {
                lock.enterWriting();
                EXPECT_EQ(readers, 0);
                ++value;
            } else {
                lock.enterReading();
                ++readers;
                EXPECT_GE(value, 0);
                --readers;
            }
            lock.leave();
            if (i % 16 == 0) std::this_thread::yield();
        }
    });
    EXPECT_EQ(value, 4'000);
}

TEST(ReadWriteMutexWriters, HandTheLockOnBeforeAnyReader) {
    CReadWriteMutex lock(priorityWriter);
    int written = 0;
    const auto write = [&] {
        lock.enterWriting();
        ++written;
        lock.leave();
    };
    lock.enterReading();
    const std::jthread writers[] = {std::jthread(write), std::jthread(write)};
    CThread::sleep(2 * aMoment);  // both wait by now
    const std::jthread late([&] {
        lock.enterReading();
        EXPECT_EQ(written, 2);
        lock.leave();
    });
    CThread::sleep(aMoment);
    lock.leave();
}

TEST(ReadWriteMutexMisuse, IsReportedInTheDefaultModeAlone) {
    struct Case {
        RWPriority mode;
        int badLeaves, readers, writers;
        const char* message;
    };
    constexpr Case cases[] = {
        {priorityDefault, 0, 2, 0, "has lock Read count(2), maybe err\n"},
        {priorityDefault, 0, 0, 1, "has lock write, maybe err\n"},
        {priorityDefault, 1, 0, 0, "No lock, maybe err\n"},
        {priorityWriter, 1, 2, 0, ""},
        {static_cast<RWPriority>(7), 1, 0, 0,
         "Input rwpriority level error, priorityDefault used!\nNo lock, maybe err\n"},
    };
    for (const Case& one : cases) {
        std::string text = Tovra::Testing::printed(6, [&one] {
            CReadWriteMutex lock(one.mode);
            for (int i = 0; i < one.badLeaves; ++i) EXPECT_FALSE(lock.leave());
            for (int i = 0; i < one.readers; ++i) lock.enterReading();
            for (int i = 0; i < one.writers; ++i) lock.enterWriting();
        });
        if (text.rfind('[', 0) == 0) text.erase(0, text.find(", ") + 2);  // the place
        EXPECT_EQ(text, one.message);
    }
}

}  // namespace
