#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "support/manualclock.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/time.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Platform::SYSTEMTIME;
using Tovra::Testing::expectLines;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;

constexpr std::int64_t milliSecond = 1'000'000;

// Before main, so before any other call.
const std::uint64_t s_firstMilliSecond = CTime::getCurrentMilliSecond();

std::string text(const SYSTEMTIME& time) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d %02d:%02d:%02d.%03d", time.wYear,
                  time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
                  time.wMilliseconds);
    return buffer;
}

/// The same moment in the other record, with 321 milliseconds.
SystemTimeEx precise(const CTime& time) {
    return {time.year, time.month, time.day, 0, time.hour, time.minute, time.second, 321, {}};
}

class Clock : public testing::Test {
protected:
    Clock() { setLastError(0); }
    ~Clock() override { setLastError(0); }

    ManualClock m_clock;
};

TEST_F(Clock, CountsFromTheLoadOfTheLibrary) { EXPECT_LT(s_firstMilliSecond, 1000U); }

TEST_F(Clock, NeverDecreasesInMilliSeconds) {
    m_clock.step(milliSecond);  // the real clock may have rounded up
    const std::uint64_t start = CTime::getCurrentMilliSecond();
    m_clock.step(milliSecond - 1);
    EXPECT_LE(CTime::getCurrentMilliSecond(), start + 1);
    m_clock.step(1);
    EXPECT_EQ(CTime::getCurrentMilliSecond(), start + 1);
    m_clock.step(999 * milliSecond);
    EXPECT_EQ(CTime::getCurrentMilliSecond(), start + 1000);
    EXPECT_EQ(CTime::getCurrentMicroSecond() / 1000, start + 1000);
    m_clock.step(-500 * milliSecond);
    EXPECT_EQ(CTime::getCurrentMilliSecond(), start + 1000);
    EXPECT_EQ(CTime::getCurrentMicroSecond() / 1000, start + 500);
    m_clock.step(-m_clock.counter());  // behind the load itself
    EXPECT_EQ(CTime::getCurrentMilliSecond(), start + 1000);
}

TEST_F(Clock, NeverDecreasesBetweenThreads) {
    // Each thread starts from what any other has seen, while the counter jumps to and fro.
    std::atomic<std::uint64_t> highest{CTime::getCurrentMilliSecond()};
    const auto look = [&](int direction) {
        for (int i = 0; i < 20'000; ++i) {
            m_clock.step(direction * (i % 7 - 3) * milliSecond + milliSecond / 2);
            const std::uint64_t seen = highest.load();
            const std::uint64_t now = CTime::getCurrentMilliSecond();
            ASSERT_GE(now, seen);
            for (std::uint64_t top = seen; now > top && !highest.compare_exchange_weak(top, now);) {
            }
        }
    };
    std::thread other(look, 1);
    look(-1);
    other.join();
}

TEST_F(Clock, TellsLocalTimeAsTheSystemDoes) {
    m_clock.local({2024, 3, 6, 5, 14, 7, 9, 250});  // not the day of the week of that date
    const CTime time = CTime::getCurrentTime();
    EXPECT_EQ(time, CTime(2024, 3, 5, 14, 7, 9));
    EXPECT_EQ(time.wday, 2);
    EXPECT_EQ(CTime::getCurTimeForPrint(), time);
    const SystemTimeEx expected = {2024, 3, 5, 6, 14, 7, 9, 250, {0, 0, 0, 0}};
    SystemTimeEx actual = CTime::getCurrentTimeEx();
    EXPECT_EQ(std::memcmp(&actual, &expected, sizeof(expected)), 0);

    m_clock.local({2045, 3, 0, 5, 14, 7, 60, 0});
    EXPECT_EQ(CTime::getCurrentTime(), CTime(2038, 3, 5, 14, 7, 59));
    actual = CTime::getCurrentTimeEx();
    EXPECT_EQ(actual.year, 2045);
    EXPECT_EQ(actual.second, 60);
}

TEST_F(Clock, TellsUtcWithoutAZone) {
    m_clock.bias(-60);
    m_clock.utc({1970, 1, 4, 2, 0, 0, 1, 7});
    EXPECT_EQ(CTime::getCurrentUTCtime(), 86401U);
    EXPECT_EQ(CTime::getCurrentUTCMilliSecond(), 86401007U);
}

TEST_F(Clock, SetsTheTimeWithinItsLimits) {
    struct Case {
        CTime wanted;
        int tolerance;
        const char* set;  // empty: left alone
    };
    // The clock shows 2024-03-05 14:07:09.250.
    const Case cases[] = {{CTime(2024, 3, 5, 14, 7, 9), 0, "2024-03-05 14:07:09.000"},
                          {CTime(2024, 3, 5, 14, 7, 14), 5, ""},
                          {CTime(2024, 3, 5, 14, 7, 4), 5, ""},
                          {CTime(2024, 3, 5, 14, 7, 15), 5, "2024-03-05 14:07:15.000"},
                          {CTime(2024, 3, 5, 14, 7, 3), 5, "2024-03-05 14:07:03.000"},
                          {CTime(2024, 3, 5, 14, 7, 9), -1, "2024-03-05 14:07:09.000"},
                          {CTime(1999, 12, 31, 23, 59, 59), 0, "2000-01-01 00:00:00.000"},
                          {CTime(2000, 1, 1, 0, 0, 1), 0, "2000-01-01 00:00:01.000"},
                          {CTime(2038, 1, 1, 0, 0, 0), 0, "2038-01-01 00:00:00.000"},
                          {CTime(2038, 1, 1, 0, 0, 1), 0, "2038-01-01 00:00:00.000"},
                          {CTime(), 0, "2000-01-01 00:00:00.000"}};
    for (const Case& row : cases) {
        SCOPED_TRACE(testing::Message() << row.set << " tolerance " << row.tolerance);
        const auto expect = [&](auto&& action, const std::string& expected) {
            ManualClock clock;
            action();
            ASSERT_EQ(clock.settings().size(), expected.empty() ? 0U : 1U);
            for (const SYSTEMTIME& set : clock.settings()) EXPECT_EQ(text(set), expected);
            EXPECT_EQ(getLastError(), 0);
        };
        expect([&] { CTime::setCurrentTime(row.wanted, row.tolerance); }, row.set);
        expect([&] { EXPECT_TRUE(CTime::setCurrentTimeEx(row.wanted, row.tolerance)); }, row.set);
        std::string withMilliSeconds = row.set;
        if (!withMilliSeconds.empty()) withMilliSeconds.replace(20, 3, "321");
        expect([&] { EXPECT_TRUE(CTime::setCurrentTime(precise(row.wanted), row.tolerance)); },
               withMilliSeconds);
    }
}

TEST_F(Clock, TellsThatTheSystemRefused) {
    m_clock.refuse();
    const CTime wanted(2024, 5, 6, 0, 0, 0);
    EXPECT_EQ(printed(4, [&] { EXPECT_FALSE(CTime::setCurrentTimeEx(wanted, 0)); }), "");
    EXPECT_EQ(getLastError(), 0x1000000e);
    setLastError(0);
    EXPECT_FALSE(CTime::setCurrentTime(precise(wanted), 0));
    EXPECT_EQ(getLastError(), 0x1000000e);
}

TEST_F(Clock, TakesAnEarlierErrorOfTheThreadForItsOwn) {
    for (const int error : {0x1000000d, 0x1000000e, 0x1000000f, 0x10000010}) {
        setLastError(error);
        const bool others = error == 0x1000000d || error == 0x10000010;
        EXPECT_EQ(CTime::setCurrentTimeEx(CTime(2024, 5, 6, 0, 0, 0), 0), others);
    }
}

// Procs stay attached for good, so one test has them all.
TEST_F(Clock, TellsProcsOfEachChange) {
    static std::vector<std::string> s_heard;
    static const TFunction1<bool, SystemTime> s_late(
        +[](SystemTime) { return s_heard.emplace_back("late").empty(); });
    struct Listener {
        bool changed(SystemTime time) {
            s_heard.push_back(name + std::to_string(time.year));
            if (name == "b") CTime::attachModifyProc(s_late);
            return false;
        }
        std::string name;
    };
    static Listener s_first{"a"};
    static Listener s_second{"b"};
    const auto changeTo = [](int year, int tolerance) {
        s_heard.clear();
        CTime::setCurrentTime(CTime(year, 5, 6, 0, 0, 0), tolerance);
        return s_heard;
    };
    using Heard = std::vector<std::string>;
    expectLines(printed(4, [&] { EXPECT_EQ(changeTo(2024, 0), Heard{}); }), "",
                {"CTime::setCurrentTime() success without callback function"});

    const TFunction1<bool, SystemTime> first(&Listener::changed, &s_first);
    EXPECT_TRUE(CTime::attachModifyProc(first));
    EXPECT_TRUE(CTime::attachModifyProc({&Listener::changed, &s_second}));
    EXPECT_TRUE(CTime::attachModifyProc(first));
    EXPECT_EQ(printed(4,
                      [&] {
                          EXPECT_EQ(changeTo(1980, 0), (Heard{"a2000", "b2000", "a2000"}));
                      }),
              "");
    EXPECT_EQ(changeTo(2024, 0), (Heard{"a2024", "b2024", "a2024", "late"}));
    EXPECT_EQ(changeTo(2024, 1), Heard{});
    m_clock.refuse();
    EXPECT_EQ(changeTo(2025, 0), Heard{});
}

TEST_F(Clock, HooksReplaceTheWholeWork) {
    static std::vector<std::string> s_calls;
    const auto hook = [](const CTime& time, int tolerance) {
        s_calls.push_back(std::to_string(time.year) + "/" + std::to_string(tolerance));
    };
    const auto hookEx = [](const SystemTimeEx& time, int tolerance) {
        s_calls.push_back(std::to_string(time.year) + "/" + std::to_string(time.wday) + "/" +
                          std::to_string(time.millisecond) + "/" + std::to_string(tolerance));
    };
    const auto standard = CTime::attachSetCurrentTimeHook(+hook);
    const auto standardEx = CTime::attachSetCurrentTimeHookEx(+hookEx);
    CTime wild(1999, 1, 1, 0, 0, 0);
    wild.month = 99;
    CTime::setCurrentTime(wild, 3);
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(2040, 1, 1, 0, 0, 0), -4));
    EXPECT_TRUE(CTime::setCurrentTime(SystemTimeEx{1999, 1, 1, 0, 0, 0, 0, 77, {}}, 5));
    EXPECT_EQ(s_calls, (std::vector<std::string>{"1999/3", "2038/-4", "1999/5/77/5"}));
    EXPECT_TRUE(m_clock.settings().empty());

    // The standard hooks do their work when they are called by hand.
    standard(CTime(1999, 1, 1, 0, 0, 0), 0);
    standardEx(SystemTimeEx{2024, 13, 40, 0, 25, 0, 0, 77, {}}, 0);
    ASSERT_EQ(m_clock.settings().size(), 2U);
    EXPECT_EQ(text(m_clock.settings()[0]), "2000-01-01 00:00:00.000");
    EXPECT_EQ(text(m_clock.settings()[1]), "2024-12-31 23:59:59.077");

    EXPECT_TRUE(CTime::attachSetCurrentTimeHook(standard) == +hook);
    EXPECT_TRUE(CTime::attachSetCurrentTimeHookEx(standardEx) == +hookEx);
}

TEST_F(Clock, HooksMayBeReplacedWhileOthersSetTheTime) {
    std::thread setter([] {
        for (int i = 0; i < 1000; ++i) CTime::setCurrentTimeEx(CTime(2024, 5, 6, 0, 0, 0), 0);
    });
    for (int i = 0; i < 1000; ++i) {
        const auto standard = CTime::attachSetCurrentTimeHook(+[](const CTime&, int) {});
        CTime::attachSetCurrentTimeHook(standard);
    }
    setter.join();
}

// The settings of the zone cannot be taken back, so each order has a process of its own.
TEST(ClockDeathTest, TellsEmbeddedUtcOnceZoneAndDaylightSavingAreSet) {
    const auto check = [](bool zoneFirst) {
        ManualClock clock;  // 2024-03-05 14:07:09
        clock.bias(-60);
        const auto setZone = [] { return CTime::setTimeZone(28800); };
        const auto setDst = [] { return CTime::setDst(true); };
        UTCTimeDef out = {1, 2, 3};
        bool good = !CTime::getUTCForEmbed(out);
        good = good && (zoneFirst ? setZone() : setDst()) && !CTime::getUTCForEmbed(out);
        good = good && out.utc == 1 && out.timeZone == 2 && out.dst == 3;
        good = good && (zoneFirst ? setDst() : setZone()) && CTime::getUTCForEmbed(out);
        const std::uint64_t local = 1709647629;  // of the clock's fields
        good = good && out.utc == local - 32400 && out.timeZone == 28800 && out.dst == 1;
        good = good && !CTime::setTimeZone(50401) && !CTime::setTimeZone(-43201);
        good = good && CTime::setDst(false) && CTime::getUTCForEmbed(out);
        good = good && out.utc == local - 28800 && out.timeZone == 28800 && out.dst == 0;
        for (const int zone : {-43200, 50400}) {
            good = good && CTime::setTimeZone(zone) && CTime::getUTCForEmbed(out);
            good = good && out.utc == local - static_cast<std::uint64_t>(std::int64_t{zone});
        }
        std::_Exit(good ? 0 : 1);
    };
    EXPECT_EXIT(check(true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(check(false), testing::ExitedWithCode(0), "");
}

}  // namespace
