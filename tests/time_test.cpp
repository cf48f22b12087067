#include "vesko/time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <utility>

#include "support/capture.h"
#include "support/lines.h"
#include "support/manualclock.h"
#include "support/timezone.h"

namespace {

using Tovra::Testing::TimeZone;

std::string formatted(const CTime& time, const char* pattern) {
    std::string text(127, '#');
    time.format(text.data(), pattern);
    return text.c_str();
}

std::string fieldsOf(const SystemTime& t) {
    char text[96];
    std::snprintf(text, sizeof(text), "%d-%d-%d %d:%d:%d w%d", t.year, t.month, t.day, t.hour,
                  t.minute, t.second, t.wday);
    return text;
}

/// In Coordinated Universal Time; leaves the settings as it found them.
struct LegacyTime : testing::Test {
    ~LegacyTime() override { CTime::setFormat("yyyy-MM-dd HH:mm:ss"); }
    const TimeZone m_zone{"UTC"};
    const CTime m_time{2024, 3, 5, 14, 7, 9};
};

TEST_F(LegacyTime, RollsOverWhatIsOutOfRange) {
    const std::pair<CTime, const char*> rows[] = {
        {{2024, 13, 1, 24, 60, 60}, "2025-1-2 1:1:0 w4"},
        {{2024, 3, 0, 0, 0, -1}, "2024-2-28 23:59:59 w3"},
        {{2040, 2, 29, 1, 2, 3}, "2040-2-29 1:2:3 w3"},
        {{1969, 12, 31, 23, 59, 58}, "1970-1-1 0:0:0 w4"},
        {{INT_MIN, 1, 1, 0, 0, 0}, "1970-1-1 0:0:0 w4"},
        {{2024, INT_MIN, 1, 0, 0, 0}, "1970-1-1 0:0:0 w4"},
        {{INT_MAX, 13, 31, 0, 0, 0}, "2147483647-13-31 0:0:0 w0"}};
    for (const auto& [time, fields] : rows) EXPECT_EQ(fieldsOf(time), fields);
}

TEST_F(LegacyTime, GoesThroughTheZone) {
    constexpr std::uint64_t noon = 1705316400;  // of the 15th of January
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(CTime(2024, 1, 15, 12, 0, 0).makeTime(), noon);
    EXPECT_EQ(fieldsOf(CTime(noon)), "2024-1-15 12:0:0 w1");
    EXPECT_EQ(CTime(2024, 7, 15, 12, 0, 0).hour, 13) << "noon is read as standard time";
}

TEST_F(LegacyTime, AddsSubtractsAndComparesMoments) {
    const CTime later = m_time + 86400;
    EXPECT_EQ(fieldsOf(later), "2024-3-6 14:7:9 w3");
    EXPECT_EQ(fieldsOf(later - 86400), fieldsOf(m_time));
    EXPECT_EQ(m_time - later, -86400);
    CTime moved = m_time;
    EXPECT_EQ(fieldsOf(moved += 60), "2024-3-5 14:8:9 w2");
    EXPECT_EQ(fieldsOf(moved -= 120), "2024-3-5 14:6:9 w2");
    const CTime same(SystemTime{2024, 3, 4, 6, 38, 7, 9, 5});
    EXPECT_TRUE(m_time < later && later > m_time && m_time <= later && later >= m_time);
    EXPECT_FALSE(later < m_time || m_time > later || later <= m_time || m_time >= later);
    EXPECT_TRUE(same == m_time && same <= m_time && same >= m_time && same != later);
    EXPECT_FALSE(same != m_time || same < m_time || same > m_time || same == later);
}

TEST_F(LegacyTime, WritesWithItsOwnSettings) {
    const char* const pattern = "yyyy-MM-dd hh:mm tt";
    CTime::setFormat(1, 0, 0);
    EXPECT_EQ(formatted(m_time, pattern), "03.05.2024 14:07");
    CTime::setFormat(2, 2, 1);
    CTime::setFormat(9, 5, 7);  // none of them known
    EXPECT_EQ(formatted(m_time, pattern), "05/03/2024 02:07 PM");
    EXPECT_EQ(CTime::getDateFormat(), 9);
    EXPECT_TRUE(CTime::getDateSeparator() == 2 && CTime::getTimeFormat() == 1);
    CTime::m_dateSeparator = '+';
    EXPECT_EQ(CTime::getDateSeparator(), 0);
    EXPECT_EQ(CTime::getFormat(), "yyyy-MM-dd HH:mm:ss");
    CTime::setFormat("dd.MM.yyyy hh");
    EXPECT_TRUE(CTime::getFormat() == "dd.MM.yyyy hh" && CTime::getSpliter() == '.');
    EXPECT_TRUE(CTime::getDateFormat() == 2 && CTime::get12Hour());
    EXPECT_EQ(Tovra::Vesko::CTime::getDateFormat(), Tovra::Vesko::CTime::ymd);
    const auto mistakes = [&] {
        CTime::setFormat("");
        EXPECT_EQ(formatted(m_time, pattern), "2024-03-05 14:07");
        m_time.format(nullptr, nullptr);
        EXPECT_EQ(formatted(m_time, nullptr)[0], '#');
    };
    Tovra::Testing::expectLines(
        Tovra::Testing::printed(2, mistakes), "src/time.cpp",
        {"<thread> setFormat separator is invalid,set default separator: - ",
         "<thread> setFormat dateFormat is invalid,set default separator: ymd ",
         "<thread> buf is NULL!!", "<thread> format is NULL!!"});
}

TEST_F(LegacyTime, ForwardsTheClocks) {
    Tovra::Testing::ManualClock clock;
    EXPECT_EQ(CTime::getCurrentMicroSecond(), Tovra::Vesko::CTime::getCurrentMicroSecond());
    EXPECT_EQ(CTime::getCurrentMilliSecond(), Tovra::Vesko::CTime::getCurrentMilliSecond());
    CTime::setCurrentTime(CTime(SystemTime{2024, 1, 32, 0, 25, 0, 0, 0}), 0);
    EXPECT_EQ(fieldsOf(CTime::getCurrentTime()), "2024-1-31 23:59:59 w3");
    CTime::setCurrentTime(CTime::getCurrentTime() + 3, 3);
    EXPECT_EQ(clock.settings().size(), 1U);
    EXPECT_EQ(fieldsOf(CTime::minTime), "2000-1-1 0:0:0 w6");
    EXPECT_EQ(fieldsOf(CTime::maxTime), "2038-1-1 0:0:0 w5");
}

}  // namespace
