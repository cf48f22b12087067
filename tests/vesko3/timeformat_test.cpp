#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "vesko/vesko3/time.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::expectLines;
using Tovra::Testing::printed;

constexpr const char* noSeparator =
    "<thread> setFormat separator is invalid,set default separator: - ";
constexpr const char* noOrder =
    "<thread> setFormat dateFormat is invalid,set default separator: ymd ";

constexpr int separatorFlag = CTime::formatSeparator;
constexpr int orderFlag = CTime::formatDateOrder;
constexpr int hourFlag = CTime::formatHourMode;

/// What `action` says, with the prefix as `expectLines` shows it.
template <class Action>
void expectSays(const std::vector<std::string>& messages, Action&& action) {
    expectLines(printed(2, action), "src/vesko3/timeformat.cpp", messages);
}

std::string formatted(const CTime& time, const char* pattern, int flags = 0) {
    char text[128];
    std::memset(text, '#', sizeof(text));
    time.format(text, pattern, flags);
    return text;
}

/// Leaves the settings of the process as it found them.
class TimeFormat : public testing::Test {
protected:
    ~TimeFormat() override { CTime::setFormatString("yyyy-MM-dd HH:mm:ss"); }

    const CTime m_time{2024, 3, 5, 14, 7, 9};
};

TEST_F(TimeFormat, WritesWhatThePatternAsksFor) {
    struct Case {
        const char* pattern;
        int flags;
        const char* text;
    };
    constexpr Case cases[] = {
        {"yyyy-MM-dd HH:mm:ss", 0, "2024-03-05 14:07:09"},
        {"yy-M-d H:m:s", 0, "24-3-5 14:7:9"},
        {"y-MMM-ddddd", 0, "24-03-05"},
        {"yyy", 0, "2024"},
        {"yyyyyy", 0, "2024"},
        {"yyyyMMdd", 0, "20240305"},
        {"dd/MM/yyyy", 0, "2024-03-05"},
        {"dd/MM/yyyy", separatorFlag, "2024/03/05"},
        {"dd/MM/yyyy", orderFlag, "05-03-2024"},
        {"dd/MM/yyyy", separatorFlag | orderFlag, "05/03/2024"},
        {"dd.MM-yyyy/", separatorFlag, "2024.03-05/"},
        {"MM-dd", 0, "03-05"},
        {"MM-dd", orderFlag, "03-05"},
        {"dd-MM", orderFlag, "05-03"},
        {"yyyy-dd", 0, "2024-05"},
        {"dd", 0, ""},
        {"dd dd dd dd", 0, " 05 05 "},
        {"MM-dd-MM", 0, "03-05-05"},
        {"yyyy MM dd d yy", 0, "2024 03 05  "},
        {"y M y d y", 0, "2024 3 5  "},  // three runs take the slots, and every "y" counts
        {"Mdy", orderFlag, "3524"},
        {"hh:mm tt", hourFlag, "02:07 PM"},
        {"h:m t", hourFlag, "2:7 PM"},
        {"HH:mm tt", hourFlag, "14:07"},
        {"hh:mm tt", 0, "14:07"},
        {"hh:mm   tt!", 0, "14:07!"},
        {"   tt", 0, ""},
        {"tttt tt", hourFlag, ""},
        {"h ttt t", hourFlag, "2 PM PM"},
        {"Hh|hHh|hmH", hourFlag, "02|02|272"},
        {"D Y S T%d\t\xC3\xA4", 0, "D Y S T%\t\xC3\xA4"},
        {"", separatorFlag | hourFlag, ""}};
    for (const auto& [pattern, flags, text] : cases) {
        SCOPED_TRACE(testing::Message() << pattern << " with " << flags);
        std::string result;
        expectSays({}, [&, &p = pattern, &f = flags] { result = formatted(m_time, p, f); });
        EXPECT_EQ(result, text);
    }
}

TEST_F(TimeFormat, TurnsTheClockTwiceADayInTwelveHours) {
    struct Case {
        int hour;
        const char* text;
    };
    constexpr Case cases[] = {{0, "12 12 AM"},  {1, "1 01 AM"},  {11, "11 11 AM"},
                              {12, "12 12 PM"}, {13, "1 01 PM"}, {23, "11 11 PM"}};
    for (const auto& [hour, text] : cases) {
        EXPECT_EQ(formatted(CTime(2024, 1, 1, hour, 0, 0), "h hh tt", hourFlag), text);
    }
    EXPECT_EQ(formatted(CTime(2024, 12, 31, 9, 59, 10), "M d H m s"), "12 31 9 59 10");
}

TEST_F(TimeFormat, WritesFieldsOfAnyValueAsPrintfDoes) {
    CTime time;
    EXPECT_EQ(formatted(time, "yyyy-MM-dd H:mm:s"), "0000-00-00 0:00:0");
    static_cast<SystemTime&>(time) = {-45, -3, 123, 0, -12, INT32_MIN, 100, 0};
    EXPECT_EQ(formatted(time, "yyyy|M|dd|HH|mm|s"), "-045|-3|123|-12|-2147483648|100");
    time.year = 12345;
    EXPECT_EQ(formatted(time, "yyyy"), "12345");
}

TEST_F(TimeFormat, SaysWhatIsWrongWithACall) {
    CTime::setFormatString("dd.MM.yyyy");
    std::string text;
    expectSays({noOrder}, [&] { text = formatted(m_time, "MM-yyyy-dd", orderFlag); });
    EXPECT_EQ(text, "2024.03.05");
    EXPECT_EQ(CTime::getDateFormat(), CTime::dmy);
    EXPECT_EQ(formatted(m_time, "MM-yyyy-dd"), "05.03.2024");
    expectSays({"<thread> buf is NULL!!"}, [&] { m_time.format(nullptr, "yyyy"); });
}

TEST_F(TimeFormat, TakesTheSettingsFromThePatternThatIsStored) {
    struct Case {
        const char* pattern;
        char separator;
        CTime::DateFormat order;
        bool twelveHours;
        std::vector<std::string> messages;
    };
    EXPECT_STREQ(CTime::getFormat().c_str(), "yyyy-MM-dd HH:mm:ss");
    const std::vector<std::string> both = {noSeparator, noOrder};
    const Case cases[] = {{"dd.MM.yyyy hh:mm:ss tt", '.', CTime::dmy, true, {}},
                          {"MM/dd/yyyy HH:mm", '/', CTime::mdy, false, {}},
                          {"yyyy/MM.dd", '.', CTime::ymd, false, {}},
                          {"yyyy-MM/dd", '/', CTime::ymd, false, {}},
                          {"yyyy-MM-dd", '-', CTime::ymd, false, {}},
                          {"yyyy MM dd h", '-', CTime::ymd, true, {noSeparator}},
                          {"MM-yyyy-dd", '-', CTime::ymd, false, {noOrder}},
                          {"dd-yyyy-MM", '-', CTime::ymd, false, {noOrder}},
                          {"yyyy-MM", '-', CTime::ymd, false, {}},  // the "d" counts as the last
                          {"MM-dd", '-', CTime::mdy, false, {}},
                          {"dd-MM", '-', CTime::dmy, false, {}},
                          {"yyyy-dd", '-', CTime::ymd, false, {noOrder}},
                          {"MM.", '.', CTime::ymd, false, {noOrder}},
                          {"", '-', CTime::ymd, false, both},
                          {nullptr, '-', CTime::ymd, false, both}};
    for (const Case& row : cases) {
        SCOPED_TRACE(row.pattern != nullptr ? row.pattern : "null");
        CTime::setFormatString("dd.MM.yyyy hh");  // nothing of the row's answer stands already
        expectSays(row.messages, [&] { CTime::setFormatString(row.pattern); });
        EXPECT_EQ(CTime::getSeparator(), row.separator);
        EXPECT_EQ(CTime::getDateFormat(), row.order);
        EXPECT_EQ(CTime::get12Hour(), row.twelveHours);
        EXPECT_STREQ(CTime::getFormat().c_str(), row.pattern != nullptr ? row.pattern : "");
    }
    CTime::setFormat(CString("MM/dd/yyyy hh"));
    EXPECT_EQ(formatted(m_time, "yyyy-MM-dd hh:mm tt"), "03/05/2024 02:07 PM");
}

TEST_F(TimeFormat, SettingsChangeTogetherBesideReaders) {
    std::atomic<bool> ended{false};
    std::thread writer([&] {
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
    writer.join();
}

TEST(TimeParse, ReadsSixNumbersByThePattern) {
    struct Case {
        const char* text;
        const char* pattern;
        CTime time;
    };
    const CTime usual(2024, 3, 5, 14, 7, 9);
    const Case cases[] = {
        {"2024-03-05 14:07:09", "yyyy-MM-dd HH:mm:ss", usual},
        {"2024-03-05 14:07:09 55", "yyyy-MM-dd HH:mm:ss", usual},
        {"05/03/2024 14:07:09", "dd/MM/yyyy HH:mm:ss", usual},
        {"03 05 2024 14 07 09", "Mdy", usual},
        {"2024+3+5T14h7m9", "yMd", usual},
        {"2024-3-5-14-7-9-", "yMd", usual},
        {"05/03/2024 02:07:09 PM", "dd/MM/yyyy hh:mm:ss tt", usual},
        {"05/03/2024 PM 02:07:09 AM", "dd/MM/yyyy hh:mm:ss tt", usual},
        {"2024-03-05 12:07:09 PM", "yMdh", CTime(2024, 3, 5, 12, 7, 9)},
        {"2024-03-05 12:07:09 AM", "yMdh", CTime(2024, 3, 5, 0, 7, 9)},
        {"2024-03-05 0:07:09 PM", "yMdh", CTime(2024, 3, 5, 12, 7, 9)},
        {"2024-03-05 11:07:09 AM", "yMdh", CTime(2024, 3, 5, 11, 7, 9)},
        {"x2024-03-05 14:07:09", "yMd", CTime(0, 2024, 3, 5, 14, 7)},
        {"2039-13-40 24:60:60", "yMd", CTime(2038, 12, 31, 23, 59, 59)},
        {"99999999999-4294967299-2147483648 5:6:7", "yMd", CTime(2038, 12, 31, 5, 6, 7)},
        {"1 2 3 4 5 6", "dyM", CTime(2001, 2, 3, 4, 5, 6)},  // the date stays
        {"1 2 3 4 5 6", nullptr, CTime(2001, 2, 3, 4, 5, 6)}};
    for (const Case& row : cases) {
        SCOPED_TRACE(row.text);
        CTime time(2001, 2, 3, 0, 0, 0);
        time.isdst = 1;
        expectSays({}, [&] { EXPECT_TRUE(time.parse(row.text, row.pattern)); });
        EXPECT_TRUE(time == row.time) << formatted(time, "yyyy-MM-dd HH:mm:ss");
        EXPECT_EQ(time.wday, row.time.wday);
        EXPECT_EQ(time.isdst, 1);
    }
}

TEST(TimeParse, ClearsTheFieldsWhenTheTextDoesNotFit) {
    struct Case {
        const char* text;
        const char* pattern;
        const char* message;
    };
    constexpr const char* tooFew = "<object> CTime parser input information is not enough.";
    constexpr const char* tooLarge =
        "<object> CTime parser input hour format is not accord with real value format.";
    constexpr const char* unclear = "<object> 12 hours time point is unclear.";
    constexpr Case cases[] = {{"2024-03-05 14:07", "yMd", tooFew},
                              {"", "yMd", tooFew},
                              {nullptr, "yMd", tooFew},
                              {"2024-03-05 14:07 PM", "yMdh", tooFew},
                              {"2024-03-05 13:07:09 PM", "yMdh", tooLarge},
                              {"2024-03-05 13:07:09", "yMdh", tooLarge},
                              {"2024-03-05 02:07:09", "yMdh", unclear},
                              {"2024-03-05 02:07:09 pm", "yMdh", unclear}};
    for (const auto& [text, pattern, message] : cases) {
        SCOPED_TRACE(text != nullptr ? text : "null");
        CTime time(2001, 2, 3, 4, 5, 6);
        time.isdst = 1;
        expectSays({message}, [&, &t = text, &p = pattern] { EXPECT_FALSE(time.parse(t, p, 7)); });
        const SystemTime cleared = {0, 0, 0, 6, 0, 0, 0, 1};
        EXPECT_EQ(std::memcmp(&time, &cleared, sizeof(cleared)), 0);
    }
}

}  // namespace
