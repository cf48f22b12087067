#include "vesko3/calendar.h"

#include <gtest/gtest.h>
#include <time.h>

#include <array>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "support/manualclock.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::ManualClock;

std::array<int, 7> fieldsOf(const SystemTime& time) {
    return {time.year, time.month, time.day, time.wday, time.hour, time.minute, time.second};
}

TEST(Calendar, AgreesWithTheRuntimeLibraryOnEveryDayOfTheRange) {
    constexpr std::uint64_t day = 86400;
    // To the end of 2099; the way back only to the end of 2038, where fields are cut.
    for (std::uint64_t today = 0; today < 47482 && !HasFailure(); ++today) {
        for (const std::uint64_t inDay : {std::uint64_t{0}, today % day, day - 1}) {
            const std::uint64_t seconds = today * day + inDay;
            SCOPED_TRACE(seconds);
            const auto moment = static_cast<time_t>(seconds);
            tm expected{};
            ASSERT_NE(::gmtime_r(&moment, &expected), nullptr);
            SystemTime fields{};
            Detail::breakSeconds(fields, seconds);
            EXPECT_EQ(
                fieldsOf(fields),
                (std::array{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday,
                            expected.tm_wday, expected.tm_hour, expected.tm_min, expected.tm_sec}));
            if (fields.year > 2038) continue;
            EXPECT_EQ(Detail::localSeconds(fields), seconds);
        }
    }
}

TEST(Time, BringsFieldsIntoTheirRanges) {
    constexpr std::pair<std::array<int, 6>, std::array<int, 7>> rows[] = {
        {{2024, 2, 29, 24, 10, -1}, {2024, 2, 29, 4, 23, 59, 59}},
        {{2023, 2, 29, 7, 60, 3}, {2023, 2, 28, 2, 7, 59, 3}},
        {{2024, 2, 30, 7, 3, 60}, {2024, 2, 28, 3, 7, 3, 59}},
        {{1969, 6, 0, -1, -1, -1}, {1970, 6, 1, 1, 0, 0, 0}},
        {{2039, 0, 1, 23, 59, 59}, {2038, 1, 1, 5, 23, 59, 59}},
        {{2023, 13, 32, 7, 8, 9}, {2023, 12, 31, 0, 7, 8, 9}}};
    for (const auto& [given, kept] : rows) {
        const CTime time(given[0], given[1], given[2], given[3], given[4], given[5]);
        EXPECT_EQ(fieldsOf(time), kept);
    }
}

TEST(Time, AddsAndSubtractsSeconds) {
    constexpr std::int64_t seconds = 1199145601;
    const CTime from(2000, 2, 28, 23, 59, 59), to(2038, 2, 28, 0, 0, 0);
    EXPECT_EQ(fieldsOf(from + seconds), fieldsOf(to));
    EXPECT_EQ(to - seconds, from);
    EXPECT_EQ(from - to, -seconds);
    CTime moved = from;
    EXPECT_EQ(moved += seconds, to);
    EXPECT_EQ(moved -= seconds, from);
    EXPECT_EQ((CTime(2038, 12, 31, 23, 59, 59) + 1).year, 2039);
}

TEST(Time, ComparesItsSixFieldsAsTheyStand) {
    const CTime time(2024, 5, 6, 7, 8, 9);
    constexpr std::int32_t SystemTime::*fields[] = {&SystemTime::year,   &SystemTime::month,
                                                    &SystemTime::day,    &SystemTime::hour,
                                                    &SystemTime::minute, &SystemTime::second};
    CTime same = time;
    same.wday = same.isdst = 99;
    EXPECT_TRUE(time == same && time <= same && time >= same);
    EXPECT_FALSE(time != same || time < same || time > same);
    for (std::size_t first = 0; first < std::size(fields); ++first) {
        SCOPED_TRACE(first);
        CTime later = time;
        for (std::size_t i = first; i < std::size(fields); ++i) later.*fields[i] = -1;
        later.*fields[first] = time.*fields[first] + 1;
        EXPECT_TRUE(time < later && later > time && time <= later && later >= time &&
                    time != later);
        EXPECT_FALSE(later < time || time > later || later <= time || time >= later ||
                     time == later);
    }
}

TEST(Time, CountsMomentsWithTheStandardOffsetOfTheZone) {
    ManualClock clock;
    EXPECT_EQ(fieldsOf(CTime()), (std::array<int, 7>{}));
    const CTime local(2024, 7, 1, 12, 0, 0);
    for (const int bias : {0, 300, -330, -840}) {
        clock.bias(bias);
        const std::uint64_t moment = local.makeTime();
        EXPECT_EQ(moment, Detail::localSeconds(local) + static_cast<std::uint64_t>(bias * 60));
        EXPECT_EQ(fieldsOf(CTime(moment)), fieldsOf(local));
    }
}

// For good, so in a process of its own.
TEST(TimeDeathTest, WorksWithoutAZoneOnceItIsDisabled) {
    ManualClock clock;
    clock.bias(-60);
    const auto good = [](bool zone) {
        const CTime local(2000, 1, 1, 0, 0, 0);
        return CTime(local.makeTime()) == local && zone == (local.makeTime() != 946684800);
    };
    EXPECT_EXIT(std::_Exit(good(true) && CTime::disableTimezone() == 0 && good(false) ? 0 : 1),
                testing::ExitedWithCode(0), "");
}

}  // namespace
