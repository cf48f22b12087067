#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "support/manualclock.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/time.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;

constexpr std::int64_t milliSecond = 1'000'000;

/// Sets the clock, with milliseconds by the form for them.
bool setClock(const CTime& t, int part, int limit) {
    if (part == 0) return CTime::setCurrentTimeEx(t, limit);
    return CTime::setCurrentTime(
        SystemTimeEx{t.year, t.month, t.day, 0, t.hour, t.minute, t.second, part, {}}, limit);
}

struct Clock : testing::Test {
    Clock() { setLastError(0); }
    ManualClock m_clock;  // shows 2024-03-05 14:07:09.250
};

TEST_F(Clock, NeverDecreasesInMilliSeconds) {
    m_clock.step(milliSecond);  // the real clock may have rounded up
    const std::uint64_t start = CTime::getCurrentMilliSecond();
    EXPECT_LT(start, 10'000U);  // since the load
    m_clock.step(1000 * milliSecond);
    EXPECT_EQ(CTime::getCurrentMilliSecond(), start + 1000);
    m_clock.step(-500 * milliSecond);
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
            std::uint64_t top = highest;
            const std::uint64_t now = CTime::getCurrentMilliSecond();
            ASSERT_GE(now, top);
            while (now > top && !highest.compare_exchange_weak(top, now)) continue;
        }
    };
    const std::jthread other(look, 1);
    look(-1);
}

TEST_F(Clock, TellsTimeAsTheSystemDoes) {
    m_clock.local({2045, 3, 6, 5, 14, 7, 60, 250});
    EXPECT_EQ(CTime::getCurrentTime(), CTime(2038, 3, 5, 14, 7, 59));
    EXPECT_EQ(CTime::getCurrentTime().wday, 5);  // not what the system says
    const SystemTimeEx expected = {2045, 3, 5, 6, 14, 7, 60, 250, {}};
    const SystemTimeEx actual = CTime::getCurrentTimeEx();
    EXPECT_EQ(std::memcmp(&actual, &expected, sizeof(expected)), 0);
    m_clock.bias(-60);
    m_clock.utc({1970, 1, 4, 2, 0, 0, 1, 7});
    EXPECT_EQ(CTime::getCurrentUTCtime(), 86401U);
    EXPECT_EQ(CTime::getCurrentUTCMilliSecond(), 86401007U);
}

TEST_F(Clock, SetsTheTimeWithinItsLimits) {
    const CTime now = CTime::getCurrentTime();
    const CTime first(2000, 1, 1, 0, 0, 0), last(2038, 1, 1, 0, 0, 0);
    struct {
        CTime wanted;
        int tolerance;
        bool set;
        CTime shown;
    } const rows[] = {{now, 0, true, now},         {now, -1, true, now},
                      {now + 5, 5, false, now},    {now + 6, 5, true, now + 6},
                      {now - 5, 5, false, now},    {now - 6, 5, true, now - 6},
                      {first - 1, 0, true, first}, {last + 1, 0, true, last}};
    for (const auto& row : rows) {
        for (const int part : {0, 321}) {
            SCOPED_TRACE(&row - rows);
            const ManualClock clock;
            EXPECT_TRUE(setClock(row.wanted, part, row.tolerance));
            EXPECT_EQ(CTime::getCurrentTime(), row.shown);
            EXPECT_EQ(CTime::getCurrentTimeEx().millisecond, row.set ? part : 250);
        }
    }
}

TEST_F(Clock, TellsARefusalByTheLastErrorOfTheThread) {
    for (const int earlier : {0x1000000e, 0x1000000f}) {
        setLastError(earlier);
        for (const int part : {0, 321}) EXPECT_FALSE(setClock(CTime::minTime, part, 0));
    }
    m_clock.refuse();
    EXPECT_FALSE(setClock(CTime::minTime, 0, 0));
    EXPECT_EQ(getLastError(), 0x1000000e);
}

std::string s_heard;

bool hear(SystemTime time) {
    s_heard += std::to_string(time.year) + ' ';
    static const bool s_attached = CTime::attachModifyProc(&hear);  // counts from the next change
    return !s_attached;
}

// Procs stay attached for good, so one test has them all.
TEST_F(Clock, TellsProcsOfEachChange) {
    const auto change = [](int year) { CTime::setCurrentTime(CTime(year, 5, 6, 0, 0, 0), 0); };
    Tovra::Testing::expectLines(printed(4, [&] { change(2024); }), "",
                                {"CTime::setCurrentTime() success without callback function"});
    EXPECT_TRUE(CTime::attachModifyProc(&hear) && CTime::attachModifyProc(&hear));
    for (const int year : {1980, 2024}) EXPECT_EQ(printed(4, [&] { change(year); }), "");
    m_clock.refuse();
    change(2025);
    EXPECT_EQ(s_heard, "2000 2000 2024 2024 2024 ");
}

TEST_F(Clock, HooksReplaceTheWholeWork) {
    static std::vector<int> s_call;
    const auto hook = [](const CTime& t, int limit) { s_call = {t.year, t.month, limit}; };
    const auto hookEx = [](const SystemTimeEx& t, int) { s_call = {t.wday, t.reserved[3]}; };
    const auto standard = CTime::attachSetCurrentTimeHook(+hook);
    const auto standardEx = CTime::attachSetCurrentTimeHookEx(+hookEx);
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(), -4));
    EXPECT_EQ(s_call, (std::vector{1970, 1, -4}));
    EXPECT_TRUE(CTime::setCurrentTime(SystemTimeEx{1999, 1, 1, 0, 0, 0, 0, 77, {1, 2, 3, 4}}, 5));
    EXPECT_EQ(s_call, (std::vector{5, 0}));
    EXPECT_TRUE(m_clock.settings().empty());
    standardEx(SystemTimeEx{2024, 13, 40, 0, 25, 0, 0, 77, {}}, 0);
    EXPECT_EQ(CTime::getCurrentTime(), CTime(2024, 12, 31, 23, 59, 59));
    CTime::attachSetCurrentTimeHook(standard);
    CTime::attachSetCurrentTimeHookEx(standardEx);
}

TEST_F(Clock, TellsEmbeddedUtcOnceZoneAndDaylightSavingAreSet) {
    UTCTimeDef out = {1, 2, 3};
    EXPECT_TRUE(!CTime::getUTCForEmbed(out) && CTime::setTimeZone(0));
    EXPECT_TRUE(!CTime::getUTCForEmbed(out) && out.utc == 1);
    for (const auto& [zone, dst] : {std::pair{-43200, 0}, {50400, 1}}) {
        EXPECT_TRUE(CTime::setTimeZone(zone) && CTime::setDst(dst == 1));
        EXPECT_FALSE(CTime::setTimeZone(50401) || CTime::setTimeZone(-43201));
        EXPECT_TRUE(CTime::getUTCForEmbed(out) && out.timeZone == zone && out.dst == dst);
        EXPECT_EQ(out.utc, static_cast<std::uint64_t>(1709647629 - zone - dst * 3600));
    }
}

}  // namespace
