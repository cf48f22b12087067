#include "vesko3/calendar.h"

#include <gtest/gtest.h>
#include <time.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <ostream>

#include "support/manualclock.h"

namespace Tovra::Vesko {

// How a failed comparison shows its times.
static std::ostream& operator<<(std::ostream& out, const CTime& time) {
    return out << time.year << '-' << time.month << '-' << time.day << ' ' << time.hour << ':'
               << time.minute << ':' << time.second << " wday " << time.wday;
}

}  // namespace Tovra::Vesko

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::ManualClock;

constexpr SystemTime dateOf(int year, int month, int day) {
    return {year, month, day, 0, 0, 0, 0, -1};
}
static_assert(Detail::daysOfDate(dateOf(1970, 1, 1)) == 0);
static_assert(Detail::daysOfDate(dateOf(2000, 2, 29)) == 11016);
static_assert(Detail::daysOfDate(dateOf(2038, 12, 31)) == 25201);
static_assert(Detail::dayOfWeek(dateOf(1970, 1, 1)) == 4);

constexpr std::uint64_t day = 86400;

void expectFields(const SystemTime& actual, const tm& expected) {
    EXPECT_EQ(actual.year, expected.tm_year + 1900);
    EXPECT_EQ(actual.month, expected.tm_mon + 1);
    EXPECT_EQ(actual.day, expected.tm_mday);
    EXPECT_EQ(actual.wday, expected.tm_wday);
    EXPECT_EQ(actual.hour, expected.tm_hour);
    EXPECT_EQ(actual.minute, expected.tm_min);
    EXPECT_EQ(actual.second, expected.tm_sec);
}

TEST(Calendar, AgreesWithTheRuntimeLibraryOnEveryDayOfTheRange) {
    // To the end of 2099; the way back only to the end of 2038, where fields are cut.
    for (std::uint64_t today = 0; today < 47482 && !HasFailure(); ++today) {
        for (const std::uint64_t inDay : {std::uint64_t{0}, today % day, day - 1}) {
            SCOPED_TRACE(testing::Message() << "day " << today << ", second " << inDay);
            const auto seconds = static_cast<time_t>(today * day + inDay);
            tm expected{};
            ASSERT_NE(::gmtime_r(&seconds, &expected), nullptr);
            SystemTime fields{};
            Detail::breakSeconds(fields, static_cast<std::uint64_t>(seconds));
            expectFields(fields, expected);
            if (fields.year > 2038) continue;
            EXPECT_EQ(Detail::localSeconds(fields), static_cast<std::uint64_t>(seconds));
        }
    }
}

TEST(Time, BringsFieldsIntoTheirRanges) {
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    struct Case {
        int given[6];
        int kept[6];
    };
    constexpr Case cases[] = {{{2024, 2, 29, 0, 0, 0}, {2024, 2, 29, 0, 0, 0}},
                              {{2023, 2, 29, 0, 0, 0}, {2023, 2, 28, 0, 0, 0}},
                              {{2000, 2, 29, 0, 0, 0}, {2000, 2, 29, 0, 0, 0}},
                              {{2024, 2, 30, 0, 0, 0}, {2024, 2, 28, 0, 0, 0}},
                              {{2023, 4, 31, 0, 0, 0}, {2023, 4, 30, 0, 0, 0}},
                              {{2023, 12, 32, 0, 0, 0}, {2023, 12, 31, 0, 0, 0}},
                              {{1969, 6, 1, 0, 0, 0}, {1970, 6, 1, 0, 0, 0}},
                              {{2039, 6, 1, 0, 0, 0}, {2038, 6, 1, 0, 0, 0}},
                              {{2024, 0, 1, 0, 0, 0}, {2024, 1, 1, 0, 0, 0}},
                              {{2024, 13, 1, 0, 0, 0}, {2024, 12, 1, 0, 0, 0}},
                              {{2024, 5, 0, 0, 0, 0}, {2024, 5, 1, 0, 0, 0}},
                              {{2024, 5, -5, 0, 0, 0}, {2024, 5, 1, 0, 0, 0}},
                              {{2024, 5, 1, 23, 59, 59}, {2024, 5, 1, 23, 59, 59}},
                              {{2024, 5, 1, 24, 10, 10}, {2024, 5, 1, 23, 59, 59}},
                              {{2024, 5, 1, 24, -1, -1}, {2024, 5, 1, 23, 59, 59}},
                              {{2024, 5, 1, 7, 60, 3}, {2024, 5, 1, 7, 59, 3}},
                              {{2024, 5, 1, 7, 3, 60}, {2024, 5, 1, 7, 3, 59}},
                              {{2024, 5, 1, -1, -1, -1}, {2024, 5, 1, 0, 0, 0}},
                              {{least, least, least, least, least, least}, {1970, 1, 1, 0, 0, 0}},
                              {{most, most, most, most, most, most}, {2038, 12, 31, 23, 59, 59}}};
    for (const auto& [given, kept] : cases) {
        const CTime time(given[0], given[1], given[2], given[3], given[4], given[5]);
        SCOPED_TRACE(testing::PrintToString(given));
        const int fields[] = {time.year, time.month, time.day, time.hour, time.minute, time.second};
        EXPECT_EQ(std::memcmp(fields, kept, sizeof(kept)), 0) << time;
        const auto seconds = static_cast<time_t>(Detail::localSeconds(time));
        tm expected{};
        expectFields(time, *::gmtime_r(&seconds, &expected));
        EXPECT_EQ(time.isdst, -1);
    }
}

TEST(Time, IsEmptyAtFirstAndReadsAsTheStartOf1970) {
    const ManualClock clock;
    const CTime empty;
    EXPECT_EQ(empty.year, 0);
    EXPECT_EQ(empty.wday, 0);
    EXPECT_EQ(empty.isdst, -1);
    EXPECT_LT(empty, CTime(1970, 1, 1, 0, 0, 0));
    EXPECT_EQ(empty.makeTime(), 0U);
    EXPECT_EQ(empty.year, 0);
}

TEST(Time, AddsAndSubtractsSeconds) {
    struct Case {
        CTime from;
        std::int64_t seconds;
        CTime to;
    };
    const Case cases[] = {{CTime(2000, 1, 1, 0, 0, 0), 86400, CTime(2000, 1, 2, 0, 0, 0)},
                          {CTime(2000, 2, 28, 23, 59, 59), 1, CTime(2000, 2, 29, 0, 0, 0)},
                          {CTime(2000, 2, 29, 23, 59, 59), 1, CTime(2000, 3, 1, 0, 0, 0)},
                          {CTime(2023, 2, 28, 23, 59, 59), 1, CTime(2023, 3, 1, 0, 0, 0)},
                          {CTime(2023, 12, 31, 23, 59, 59), 1, CTime(2024, 1, 1, 0, 0, 0)},
                          {CTime(1970, 1, 1, 0, 0, 0), 2145916800, CTime(2038, 1, 1, 0, 0, 0)},
                          {CTime(2024, 3, 5, 1, 2, 3), 0, CTime(2024, 3, 5, 1, 2, 3)}};
    for (const Case& row : cases) {
        SCOPED_TRACE(testing::Message() << row.from << " + " << row.seconds);
        EXPECT_EQ(row.from + row.seconds, row.to);
        EXPECT_EQ((row.from + row.seconds).wday, row.to.wday);
        EXPECT_EQ(row.to - row.seconds, row.from);
        EXPECT_EQ(row.from + -row.seconds, row.from - row.seconds);
        EXPECT_EQ(row.to - row.from, row.seconds);
        EXPECT_EQ(row.from - row.to, -row.seconds);
        CTime moved = row.from;
        moved.isdst = 1;
        EXPECT_EQ((moved + row.seconds).isdst, -1);
        EXPECT_EQ((moved - 0).isdst, -1);
        EXPECT_EQ(moved += row.seconds, row.to);
        EXPECT_EQ(moved -= row.seconds, row.from);
        EXPECT_EQ(moved.isdst, 1);
    }
    EXPECT_EQ((CTime(2038, 12, 31, 23, 59, 59) + 1).year, 2039);
}

TEST(Time, ComparesItsSixFieldsAsTheyStand) {
    const CTime time(2024, 5, 6, 7, 8, 9);
    constexpr std::int32_t SystemTime::*fields[] = {&SystemTime::year,   &SystemTime::month,
                                                    &SystemTime::day,    &SystemTime::hour,
                                                    &SystemTime::minute, &SystemTime::second};
    for (std::size_t first = 0; first < std::size(fields); ++first) {
        SCOPED_TRACE(first);
        CTime later = time;
        ++(later.*fields[first]);
        for (std::size_t i = first + 1; i < std::size(fields); ++i) later.*fields[i] = -1;
        EXPECT_TRUE(time < later && later > time && time <= later && later >= time);
        EXPECT_FALSE(later < time || time > later || later <= time || time >= later);
        EXPECT_TRUE(time != later && !(time == later));
    }
    CTime same = time;
    same.wday = 99;
    same.isdst = 5;
    EXPECT_TRUE(time == same && time <= same && time >= same);
    EXPECT_FALSE(time != same || time < same || time > same);
}

TEST(Time, CountsMomentsWithTheStandardOffsetOfTheZone) {
    ManualClock clock;
    for (const int bias : {0, 300, -60, -330, -840, 720}) {
        SCOPED_TRACE(bias);
        clock.bias(bias);
        const CTime local(2024, 7, 1, 12, 0, 0);
        const std::uint64_t moment = local.makeTime();
        EXPECT_EQ(moment, Detail::localSeconds(local) + static_cast<std::uint64_t>(bias * 60));
        EXPECT_EQ(CTime(moment), local);
        CTime broken(1999, 1, 1, 0, 0, 0);
        broken.isdst = 1;
        broken.breakTime(moment);
        EXPECT_EQ(broken, local);
        EXPECT_EQ(broken.wday, 1);
        EXPECT_EQ(broken.isdst, 1);
    }
}

// For good, so in a process of its own.
TEST(TimeDeathTest, WorksWithoutAZoneOnceItIsDisabled) {
    EXPECT_EXIT(
        {
            ManualClock clock;
            clock.bias(-60);
            const CTime local(2024, 7, 1, 12, 0, 0);
            const bool before = local.makeTime() != Detail::localSeconds(local);
            const int result = CTime::disableTimezone();
            const bool after =
                local.makeTime() == Detail::localSeconds(local) && CTime(local.makeTime()) == local;
            std::_Exit(before && after && result == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
