#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "vesko/vesko3/time.h"

namespace {

using namespace Tovra::Vesko;
using Messages = std::vector<std::string>;

constexpr char noSeparator[] = "<thread> setFormat separator is invalid,set default separator: - ";
constexpr char noOrder[] = "<thread> setFormat dateFormat is invalid,set default separator: ymd ";

template <class Action>
void expectSays(const Messages& messages, Action&& action) {
    Tovra::Testing::expectLines(Tovra::Testing::printed(2, action), "src/vesko3/timeformat.cpp",
                                messages);
}

std::string formatted(const CTime& time, const char* pattern, int flags = 0) {
    std::string text(127, '#');
    time.format(text.data(), pattern, flags);
    return text.c_str();
}

/// Leaves the settings of the process as it found them.
struct TimeFormat : testing::Test {
    ~TimeFormat() override { CTime::setFormatString("yyyy-MM-dd HH:mm:ss"); }
    const CTime m_time{2024, 3, 5, 14, 7, 9};
};

struct Row {
    const char* pattern;
    int number;
    const char* text;
};

TEST_F(TimeFormat, WritesWhatThePatternAsksFor) {
    // Flags: 1 separators, 2 date order, 4 hour mode.
    // Three runs take the slots of a date, and all letters of a kind count for its width.
    const Row rows[] = {{"yy-M-d", 0, "24-3-5"},         {"H:m:s", 0, "14:7:9"},
                        {"y-MMM-ddddd", 0, "24-03-05"},  {"dd/MM/yyyy", 0, "2024-03-05"},
                        {"dd/MM/yyyy", 2, "05-03-2024"}, {"dd.MM-yyyy/", 1, "2024.03-05/"},
                        {"dd/MM/yyyy", 3, "05/03/2024"}, {"d.d.d.d.d.d", 1, ".05.05..."},
                        {"MM-dd-MM", 0, "03-05-05"},     {"y M y d y", 0, "2024 3 5  "},
                        {"yyyy-dd-d", 0, "2024-05-05"},  {"Mdy", 2, "3524"},
                        {"hh:mm tt", 4, "02:07 PM"},     {"hh:mm   tt!", 0, "14:07!"},
                        {"h ttt t", 4, "2 PM PM"},       {"Hh|hHh|hmH", 4, "02|02|272"},
                        {"D YT%\xF9", 0, "D YT%\xF9"},   {"tttt tt", 4, ""}};
    for (const Row& row : rows)
        EXPECT_EQ(formatted(m_time, row.pattern, row.number), row.text) << row.pattern;
}

TEST_F(TimeFormat, WritesFieldsOfAnyValueAsPrintfDoes) {
    for (const auto& [hour, text] : {std::pair{0, "12 AM"}, {11, "11 AM"}, {12, "12 PM"}})
        EXPECT_EQ(formatted(CTime(2024, 1, 1, hour, 0, 0), "h t", 4), text);
    EXPECT_EQ(formatted(CTime(2024, 12, 31, 9, 59, 10), "M d H m s"), "12 31 9 59 10");
    CTime time;
    EXPECT_EQ(formatted(time, "yyyy-MM-dd H:mm:s"), "0000-00-00 0:00:0");
    static_cast<SystemTime&>(time) = {-45, -3, 123, 0, -12, INT32_MIN, 100, 0};
    EXPECT_EQ(formatted(time, "yyyy|M|dd|HH|mm|s"), "-045|-3|123|-12|-2147483648|100");
    time.year = 12345;
    EXPECT_EQ(formatted(time, "yyyy"), "12345");
}

TEST_F(TimeFormat, TakesTheSettingsFromThePatternThatIsStored) {
    const Messages problems[] = {{}, {noSeparator}, {noOrder}, {noSeparator, noOrder}};
    // Separator, number of the date order, "h" for twelve hours.
    const Row rows[] = {{"MM/dd/yyyy HH", 0, "/1H"}, {"yyyy/MM.dd", 0, ".0H"},
                        {"yyyy-MM/dd", 0, "/0H"},    {"yyyy MM dd h", 1, "-0h"},
                        {"MM-yyyy-dd", 2, "-0H"},    {"yyyy-MM", 0, "-0H"},
                        {"MM-dd", 0, "-1H"},         {"dd-MM", 0, "-2H"}};
    EXPECT_STREQ(CTime::getFormat().c_str(), "yyyy-MM-dd HH:mm:ss");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pattern);
        CTime::setFormatString("dd.MM.yyyy hh");  // little of the row's answer stands already
        expectSays(problems[row.number], [&] { CTime::setFormat(row.pattern); });
        const std::string order = std::to_string(CTime::getDateFormat());
        EXPECT_EQ(CTime::getSeparator() + order + (CTime::get12Hour() ? 'h' : 'H'), row.text);
        EXPECT_STREQ(CTime::getFormat().c_str(), row.pattern);
    }
    expectSays(problems[3], [] { CTime::setFormatString(nullptr); });
    EXPECT_STREQ(CTime::getFormat().c_str(), "");

    CTime::setFormatString("dd.MM.yyyy h");
    expectSays({noOrder}, [&] { EXPECT_EQ(formatted(m_time, "MM-yyyy-dd", 2), "2024.03.05"); });
    EXPECT_EQ(formatted(m_time, "MM-yyyy-dd h t"), "05.03.2024 2 PM");
    expectSays({"<thread> buf is NULL!!"}, [&] { m_time.format(nullptr, "yyyy"); });
}

TEST_F(TimeFormat, SettingsChangeTogetherBesideReaders) {
    std::atomic<bool> ended{false};
    const std::jthread writer([&] {
        for (int i = 0; i < 2000; ++i) {
            CTime::setFormatString("dd.MM.yyyy and more than fits into the string itself");
            CTime::setFormatString("yyyy/MM/dd");
        }
        ended = true;
    });
    while (!ended) {
        const std::string text = formatted(m_time, "y M d-");
        EXPECT_TRUE(text == "24 3 5-" || text == "24 3 5/" || text == "5 3 24.") << text;
        EXPECT_NE(CTime::getFormat().size(), 0U);
    }
}

TEST(TimeParse, ReadsSixNumbersByThePatternOrClearsTheFields) {
    constexpr const char* problems[] = {
        "", "<object> CTime parser input information is not enough.",
        "<object> CTime parser input hour format is not accord with real value format.",
        "<object> 12 hours time point is unclear."};
    const CTime usual(2024, 3, 5, 14, 7, 9);
    const struct {
        const char* text;
        const char* pattern;
        CTime time;
        int problem = 0;
    } rows[] = {{"2024-03-05 14:07:09 55", "yyyy-MM-dd HH:mm:ss", usual},
                {"03 05 2024 14 07 09", "Mdy", usual},
                {"05/03/2024 02:07:09 PM", "dd/MM/yyyy hh:mm:ss tt", usual},
                {"2024 3 5 12:7:9 PM", "yMdh", usual - 7200},
                {"2024 3 5 12:7:9 AM", "yMdh", usual - 50400},
                {"x2024-03-05 14:07:09", "yMd", CTime(0, 2024, 3, 5, 14, 7)},
                {"2039-13-40 24:60:60", "yMd", CTime(2038, 12, 31, 23, 59, 59)},
                {"99999999999-4294967299-2147483648 5:6:7", "yMd", CTime(2038, 12, 31, 5, 6, 7)},
                {"1 2 3 4 5 6", nullptr, CTime(2001, 2, 3, 4, 5, 6)},  // the date stays
                {"2024 3 5 14:7 PM", "yMdh", CTime(), 1},
                {nullptr, "yMd", CTime(), 1},
                {"2024 3 5 13:7:9 PM", "yMdh", CTime(), 2},
                {"2024 3 5 2:7:9 pm", "yMdh", CTime(), 3}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text != nullptr ? row.text : "null");
        const bool good = row.problem == 0;
        CTime time(2001, 2, 3, 0, 0, 0);
        expectSays(good ? Messages{} : Messages{problems[row.problem]},
                   [&] { EXPECT_EQ(time.parse(row.text, row.pattern, 7), good); });
        EXPECT_TRUE(time == row.time) << formatted(time, "yyyy-MM-dd HH:mm:ss");
        EXPECT_EQ(time.wday, good ? row.time.wday : 6);
    }
}

}  // namespace
