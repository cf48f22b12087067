#include "vesko/time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "support/manualclock.h"
#include "support/timezone.h"

namespace {

using Tovra::Testing::expectLines;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;
using Tovra::Testing::TimeZone;

static_assert(std::is_same_v<SystemTime, Tovra::Vesko::SystemTime>);

std::string formatted(const CTime& time, const char* pattern) {
    char text[128];
    std::memset(text, '#', sizeof(text));
    time.format(text, pattern);
    return text;
}

std::string fieldsOf(const SystemTime& time) {
    char text[96];
    std::snprintf(text, sizeof(text), "%d-%d-%d %d:%d:%d w%d", time.year, time.month, time.day,
                  time.hour, time.minute, time.second, time.wday);
    return text;
}

/// What `action` says, with the prefix as `expectLines` shows it.
template <class Action>
void expectSays(const std::vector<std::string>& messages, Action&& action) {
    expectLines(printed(2, action), "src/time.cpp", messages);
}

/// In Coordinated Universal Time; leaves the settings as it found them.
class LegacyTime : public testing::Test {
protected:
    ~LegacyTime() override { CTime::setFormat("yyyy-MM-dd HH:mm:ss"); }

    const TimeZone m_zone{"UTC"};
    const CTime m_time{2024, 3, 5, 14, 7, 9};
};

TEST_F(LegacyTime, RollsOverWhatIsOutOfRange) {
    struct Case {
        int given[6];
        const char* fields;
    };
    constexpr Case cases[] = {{{2024, 3, 5, 14, 7, 9}, "2024-3-5 14:7:9 w2"},
                              {{2024, 1, 32, 0, 0, 0}, "2024-2-1 0:0:0 w4"},
                              {{2024, 13, 1, 24, 60, 60}, "2025-1-2 1:1:0 w4"},
                              {{2024, 3, 0, 0, 0, -1}, "2024-2-28 23:59:59 w3"},
                              {{2040, 2, 29, 1, 2, 3}, "2040-2-29 1:2:3 w3"},
                              {{1969, 12, 31, 23, 59, 58}, "1970-1-1 0:0:0 w4"},
                              {{INT_MIN, 1, 1, 0, 0, 0}, "1970-1-1 0:0:0 w4"},
                              {{2024, INT_MIN, 1, 0, 0, 0}, "1970-1-1 0:0:0 w4"},
                              {{INT_MAX, 13, 31, 0, 0, 0}, "2147483647-13-31 0:0:0 w0"}};
    for (const auto& [g, fields] : cases) {
        EXPECT_EQ(fieldsOf(CTime(g[0], g[1], g[2], g[3], g[4], g[5])), fields);
    }
}

TEST_F(LegacyTime, GoesThroughTheZone) {
    struct Case {
        const char* zone;
        std::uint64_t winter;  // the moment of 2024-01-15 12:00:00
        const char* summer;    // 2024-07-15 12:00:00 is read as standard time
    };
    constexpr Case cases[] = {
        {"UTC", 1705320000, "2024-7-15 12:0:0 w1"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1705320000 - 3600, "2024-7-15 13:0:0 w1"},
        {"IST-5:30", 1705320000 - 19800, "2024-7-15 12:0:0 w1"}};
    for (const Case& row : cases) {
        SCOPED_TRACE(row.zone);
        const TimeZone zone(row.zone);
        const CTime winter(2024, 1, 15, 12, 0, 0);
        EXPECT_EQ(winter.makeTime(), row.winter);
        EXPECT_EQ(fieldsOf(CTime(row.winter)), "2024-1-15 12:0:0 w1");
        EXPECT_EQ(fieldsOf(CTime(2024, 7, 15, 12, 0, 0)), row.summer);
    }
}

TEST_F(LegacyTime, AddsSubtractsAndComparesMoments) {
    const CTime later = m_time + 86400;
    EXPECT_EQ(fieldsOf(later), "2024-3-6 14:7:9 w3");
    EXPECT_EQ(fieldsOf(later - 86400), fieldsOf(m_time));
    EXPECT_EQ(later - m_time, 86400);
    EXPECT_EQ(m_time - later, -86400);
    CTime moved = m_time;
    moved.isdst = 7;
    EXPECT_EQ(fieldsOf(moved += 60), "2024-3-5 14:8:9 w2");
    EXPECT_EQ(fieldsOf(moved -= 120), "2024-3-5 14:6:9 w2");
    EXPECT_EQ(moved.isdst, 7);
    EXPECT_TRUE(m_time < later && later > m_time && m_time <= later && later >= m_time);
    EXPECT_FALSE(later < m_time || m_time > later || later <= m_time || m_time >= later);

    const SystemTime january32 = {2024, 1, 32, 6, 0, 0, 0, 5};
    const CTime kept(january32);
    EXPECT_EQ(fieldsOf(kept), "2024-1-32 0:0:0 w6");
    EXPECT_TRUE(kept == CTime(2024, 2, 1, 0, 0, 0));
    EXPECT_FALSE(kept != CTime(2024, 2, 1, 0, 0, 0));
}

TEST_F(LegacyTime, WritesWithItsOwnSettings) {
    EXPECT_EQ(formatted(m_time, "yyyy-MM-dd HH:mm:ss"), "2024-03-05 14:07:09");
    CTime::setFormat(2, 2, 1);
    EXPECT_EQ(formatted(m_time, "yyyy-MM-dd hh:mm tt"), "05/03/2024 02:07 PM");
    EXPECT_EQ(formatted(CTime(2024, 12, 5, 0, 7, 9), "d.M.y H:m:s t"), "5/12/24 12:7:9 AM");
    EXPECT_EQ(CTime::getDateSeparator(), 2);
    EXPECT_EQ(CTime::getTimeFormat(), 1);
    EXPECT_EQ(CTime::getFormat(), "yyyy-MM-dd HH:mm:ss");
    EXPECT_EQ(Tovra::Vesko::CTime::getSeparator(), '-');
    EXPECT_EQ(Tovra::Vesko::CTime::getDateFormat(), Tovra::Vesko::CTime::ymd);
    CTime::setFormat(1, 0, 0);
    EXPECT_EQ(formatted(m_time, "yyyy-MM-dd HH:mm tt"), "03.05.2024 14:07");
    CTime::setFormat(9, 1, 0);
    EXPECT_EQ(CTime::getDateFormat(), 9);
    EXPECT_EQ(formatted(m_time, "yyyy/MM/dd"), "05-03-2024");
    CTime::setFormat(0, 5, 7);
    EXPECT_EQ(formatted(m_time, "yyyy/MM/dd HH"), "2024-03-05 14");
    CTime::m_dateSeparator = '+';
    EXPECT_EQ(CTime::getDateSeparator(), 0);
    EXPECT_EQ(formatted(m_time, "yyyy/MM/dd"), "2024+03+05");
}

TEST_F(LegacyTime, TakesTheSettingsFromAPattern) {
    expectSays({}, [] { CTime::setFormat("dd.MM.yyyy hh:mm tt"); });
    EXPECT_EQ(CTime::getFormat(), "dd.MM.yyyy hh:mm tt");
    EXPECT_EQ(CTime::getDateFormat(), 2);
    EXPECT_EQ(CTime::getSpliter(), '.');
    EXPECT_EQ(CTime::getDateSeparator(), 0);
    EXPECT_TRUE(CTime::get12Hour());
    expectSays({"<thread> setFormat dateFormat is invalid,set default separator: ymd "},
               [] { CTime::setFormat("MM-yyyy-dd"); });
    expectSays({"<thread> setFormat separator is invalid,set default separator: - "},
               [] { CTime::setFormat("yyyy MM dd"); });
    EXPECT_EQ(CTime::getDateFormat(), 0);
    EXPECT_EQ(CTime::getSpliter(), '-');
    EXPECT_FALSE(CTime::get12Hour());
}

TEST_F(LegacyTime, SaysWhatIsMissing) {
    char text[] = "kept";
    expectSays({"<thread> buf is NULL!!"}, [&] { m_time.format(nullptr, nullptr); });
    expectSays({"<thread> format is NULL!!"}, [&] { m_time.format(text, nullptr); });
    EXPECT_STREQ(text, "kept");
}

TEST_F(LegacyTime, ForwardsTheClocks) {
    ManualClock clock;
    clock.local({2024, 2, 4, 29, 23, 59, 58, 999});
    EXPECT_EQ(fieldsOf(CTime::getCurrentTime()), "2024-2-29 23:59:58 w4");
    EXPECT_EQ(CTime::getCurrentMicroSecond(), Tovra::Vesko::CTime::getCurrentMicroSecond());
    EXPECT_EQ(CTime::getCurrentMilliSecond(), Tovra::Vesko::CTime::getCurrentMilliSecond());

    CTime::setCurrentTime(CTime(SystemTime{2024, 1, 32, 0, 25, 0, 0, 0}), 0);
    ASSERT_EQ(clock.settings().size(), 1U);
    EXPECT_EQ(clock.settings()[0].wDay, 31);
    EXPECT_EQ(clock.settings()[0].wHour, 23);
    CTime::setCurrentTime(CTime::getCurrentTime() + 3, 3);
    EXPECT_EQ(clock.settings().size(), 1U);
    EXPECT_TRUE(CTime::minTime == CTime(2000, 1, 1, 0, 0, 0));
    EXPECT_TRUE(CTime::maxTime == CTime(2038, 1, 1, 0, 0, 0));
}

TEST_F(LegacyTime, SleepsAtLeastAsLongAsTold) {
    const std::uint64_t start = CTime::getCurrentMicroSecond();
    CTime::sleep(3);
    EXPECT_GE(CTime::getCurrentMicroSecond() - start, 3000U);
}

}  // namespace
