#include "vesko/vesko3/readwritemutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "support/capture.h"
#include "support/crowd.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/thread.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Tovra::Testing::together;

constexpr unsigned int longEnough = 10'000;
constexpr unsigned int aMoment = 30;

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
    bool isIn() { return m_entered.pend(longEnough) == 0; }
    bool staysOut() { return m_entered.pend(aMoment) != 0; }
    void leave() { m_mayLeave.post(); }

private:
    CSemaphore m_entered;
    CSemaphore m_mayLeave;
    std::thread m_thread;
};

class ReadWriteMutex : public testing::TestWithParam<RWPriority> {
protected:
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
    EXPECT_TRUE(late.staysOut());
    writer.leave();
    EXPECT_TRUE(late.isIn());
}

TEST_P(ReadWriteMutex, SaysWhenNobodyHoldsIt) {
    const char* message = GetParam() == priorityDefault ? "No lock, maybe err\n" : "";
    EXPECT_EQ(printed(6, [&] { EXPECT_FALSE(lock.leave()); }), message);
    EXPECT_TRUE(lock.enterWriting());
    EXPECT_TRUE(lock.leave());
    EXPECT_EQ(printed(6, [&] { EXPECT_FALSE(lock.leave()); }), message);
}

TEST_P(ReadWriteMutex, ExcludesInAStorm) {
    std::atomic<int> readers{0};
    int value = 0;  // what a broken exclusion tears, and the thread sanitizer watches
    together(4, [&](int number) {
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
    Holder reader(lock, false);
    ASSERT_TRUE(reader.isIn());
    auto first = std::make_unique<Holder>(lock, true);
    ASSERT_TRUE(first->staysOut());
    auto second = std::make_unique<Holder>(lock, true);
    ASSERT_TRUE(second->staysOut());
    Holder late(lock, false);
    ASSERT_TRUE(late.staysOut());
    reader.leave();
    bool firstIsIn = false;
    for (unsigned int waited = 0; waited < longEnough && !firstIsIn; waited += 2 * aMoment) {
        firstIsIn = !first->staysOut();
        if (!firstIsIn && !second->staysOut()) {
            std::swap(first, second);  // which of the two is first is nobody's promise
            firstIsIn = true;
        }
    }
    ASSERT_TRUE(firstIsIn);
    EXPECT_TRUE(late.staysOut());
    first->leave();
    EXPECT_TRUE(second->isIn());
    EXPECT_TRUE(late.staysOut());
    second->leave();
    EXPECT_TRUE(late.isIn());
}

TEST(ReadWriteMutexEnd, ReportsOpenHoldsInTheDefaultModeAlone) {
    struct Case {
        RWPriority mode;
        int readers;
        bool writes;
        const char* message;
    };
    constexpr Case cases[] = {
        {priorityDefault, 2, false, "has lock Read count(2), maybe err\n"},
        {priorityDefault, 0, true, "has lock write, maybe err\n"},
        {priorityDefault, 0, false, ""},
        {priorityWriter, 2, false, ""},
    };
    for (const auto& [mode, readers, writes, message] : cases) {
        SCOPED_TRACE(message);
        const std::string text = printed(6, [&, mode = mode, n = readers, w = writes] {
            CReadWriteMutex lock(mode);
            for (int i = 0; i < n; ++i) lock.enterReading();
            if (w) lock.enterWriting();
        });
        EXPECT_EQ(text, message);
    }
    const std::string text = printed(6, [] {
        CReadWriteMutex lock(static_cast<RWPriority>(7));
        lock.leave();
    });
    EXPECT_NE(
        text.find("Input rwpriority level error, priorityDefault used!\nNo lock, maybe err\n"),
        std::string::npos);
}

}  // namespace
