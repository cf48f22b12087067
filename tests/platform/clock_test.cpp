#include "platform/clock.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <ctime>
#include <utility>

#include "support/timezone.h"

namespace {

using namespace Tovra::Platform;

// Of the precise clock: the runtime library's own reading may lag behind it by a tick.
std::time_t second() {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

template <class Read, class Convert>
void expectPresent(Read read, Convert convert) {
    std::time_t before{};
    SYSTEMTIME time{};
    do {
        before = second();
        time = read();
    } while (second() != before);
    tm expected{};
    convert(&before, &expected);
    EXPECT_EQ((std::array<int, 7>{time.wYear, time.wMonth, time.wDay, time.wDayOfWeek, time.wHour,
                                  time.wMinute, time.wSecond}),
              (std::array{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday,
                          expected.tm_wday, expected.tm_hour, expected.tm_min, expected.tm_sec}));
    EXPECT_LT(time.wMilliseconds, 1000);
}

constexpr std::pair<const char*, int> zones[] = {
    {"UTC", 0},
    {"CET-1CEST,M3.5.0,M10.5.0/3", -60},
    {"NZST-12NZDT,M9.5.0,M4.1.0/3", -720},
    {"IST-5:30", -330},
    {"EST5", 300},
    // Standard time in one half of the year or the other: one of them is in force now.
    {"AAA-1BBB,J1/0,J365/25", -60}};

TEST(Clock, FollowsTheZoneOfTheProcess) {
    for (const auto& [name, bias] : zones) {
        SCOPED_TRACE(name);
        const Tovra::Testing::TimeZone zone(name);
        expectPresent(&GetLocalTime, &::localtime_r);
        expectPresent(&GetSystemTime, &::gmtime_r);
        EXPECT_EQ(GetTimeZoneInformation().Bias, bias);
    }
}

TEST(Clock, CountsAllTheTime) {
    EXPECT_EQ(QueryPerformanceFrequency(), 1'000'000'000);
    const std::int64_t first = QueryPerformanceCounter();
    const timespec pause{0, 2'000'000};
    ::nanosleep(&pause, nullptr);
    EXPECT_GE(QueryPerformanceCounter() - first, 2'000'000);
}

}  // namespace
