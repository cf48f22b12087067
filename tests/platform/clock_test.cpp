#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "support/manualclock.h"
#include "support/timezone.h"

namespace {

using namespace Tovra::Platform;
using Tovra::Testing::ManualClock;
using Tovra::Testing::TimeZone;

std::string textOf(const SYSTEMTIME& time) {
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %d %02d:%02d:%02d", time.wYear, time.wMonth,
                  time.wDay, time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond);
    return text;
}

std::string textOf(const tm& time) {
    char text[64];
    std::strftime(text, sizeof(text), "%Y-%m-%d %w %H:%M:%S", &time);
    return text;
}

// Between two looks at the runtime library's clock, for the second may pass meanwhile.
template <class Read, class Convert>
void expectBetween(Read read, Convert convert) {
    tm fields{};
    const std::time_t before = std::time(nullptr);
    const SYSTEMTIME time = read();
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t moment = before; moment <= after; ++moment) {
        convert(&moment, &fields);
        found = found || textOf(time) == textOf(fields);
    }
    EXPECT_TRUE(found) << textOf(time) << " is not " << textOf(fields);
    EXPECT_LT(time.wMilliseconds, 1000);
}

constexpr struct {
    const char* name;
    int bias;
} zones[] = {{"UTC", 0},
             {"CET-1CEST,M3.5.0,M10.5.0/3", -60},
             {"NZST-12NZDT,M9.5.0,M4.1.0/3", -720},
             {"IST-5:30", -330},
             {"EST5", 300},
             // Standard time in one half of the year or the other: one of them is in force now.
             {"AAA-1BBB,J1/0,J365/25", -60}};

TEST(Clock, FollowsTheZoneOfTheProcess) {
    for (const auto& [name, bias] : zones) {
        SCOPED_TRACE(name);
        const TimeZone zone(name);
        expectBetween(&GetLocalTime, &::localtime_r);
        expectBetween(&GetSystemTime, &::gmtime_r);
        EXPECT_EQ(GetTimeZoneInformation().Bias, bias);
    }
}

TEST(Clock, CountsAllTheTime) {
    EXPECT_EQ(QueryPerformanceFrequency(), 1'000'000'000);
    const std::int64_t first = QueryPerformanceCounter();
    timespec pause{0, 2'000'000};
    ::nanosleep(&pause, nullptr);
    EXPECT_GE(QueryPerformanceCounter() - first, 2'000'000);
}

TEST(Clock, AsksTheTableInPlace) {
    {
        ManualClock clock;
        clock.local({2001, 2, 3, 4, 5, 6, 7, 8});
        EXPECT_EQ(GetLocalTime().wYear, 2001);
        EXPECT_EQ(QueryPerformanceCounter(), QueryPerformanceCounter());
        EXPECT_TRUE(SetLocalTime({2003, 2, 3, 4, 5, 6, 7, 8}));
        EXPECT_EQ(GetLocalTime().wYear, 2003);
        clock.refuse();
        EXPECT_FALSE(SetLocalTime({2004, 2, 3, 4, 5, 6, 7, 8}));
        EXPECT_EQ(clock.settings().size(), 2U);
    }
    EXPECT_EQ(replaceClock(&s_systemClock), &s_systemClock);
}

}  // namespace
