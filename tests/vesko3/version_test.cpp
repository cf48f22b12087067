#include "vesko/vesko3/version.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "checkincludeversion.h"
#include "support/capture.h"
#include "support/lines.h"
#include "vesko3/legacyversion.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::expectLines;
using Tovra::Testing::printed;

constexpr char plainDate[] = "Jul 16 2018";

CVersion withRevision(const char* revision) { return {"Name", 1, 2, 3, revision, plainDate}; }
CVersion withDate(const char* date) { return {"Name", 1, 2, 3, "4", date}; }

template <class Version>
class AnyVersion : public testing::Test {};
using Versions = testing::Types<CVersion, CLegacyVersion>;
TYPED_TEST_SUITE(AnyVersion, Versions);

TYPED_TEST(AnyVersion, KeepsWhatFitsOfTheName) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    struct Case {
        std::size_t given, kept;
    };
    for (const auto& [given, kept] : {Case{0, 0}, {1, 1}, {30, 30}, {31, 31}, {32, 31}, {40, 31}}) {
        const TypeParam version(letters.substr(0, given).c_str(), 1, -2, 3, "4", plainDate);
        EXPECT_EQ(std::string(version.name), letters.substr(0, kept));
        EXPECT_EQ(version.major, 1);
        EXPECT_EQ(version.minor, -2);
        EXPECT_EQ(version.patch, 3);
        EXPECT_EQ(version.revision, 4);
    }
}

TYPED_TEST(AnyVersion, ReadsNullAsTheEmptyText) {
    const TypeParam version(nullptr, 1, 2, 3, nullptr, nullptr);
    EXPECT_STREQ(version.name, "");
    EXPECT_EQ(version.revision, 0);
    EXPECT_EQ(version.date.month, 13);
    EXPECT_EQ(version.date.year, 0);
}

TYPED_TEST(AnyVersion, ZeroesWhatADateDoesNotName) {
    alignas(TypeParam) unsigned char memory[sizeof(TypeParam)];
    std::memset(memory, 0x5A, sizeof(memory));  // stale bytes must not show through
    const auto* version = new (memory) TypeParam("Name", 1, 2, 3, "", plainDate);
    const SystemTime& date = version->date;
    EXPECT_EQ(version->revision, 0);
    for (const int field : {date.wday, date.hour, date.minute, date.second, date.isdst})
        EXPECT_EQ(field, 0);
}

TEST(Version, ReadsTheRevision) {
    struct Case {
        const char* text;
        int revision;
    };
    for (const auto& [text, revision] : {Case{"1234", 1234},
                                         {"1234M", 1234},
                                         {"007", 7},
                                         {"12:34", 12},
                                         {"Win32", 32},
                                         {"$Rev: 5678 $", 5678},
                                         {"$Rev:5678$", 5678},
                                         {"$Revision:\t\n 5678", 5678},
                                         {":5", 5},
                                         {"$:azAZ5", 5},
                                         {"r-5", -5},
                                         {"r +5", 5},
                                         {"2147483647", 2147483647}})
        EXPECT_EQ(withRevision(text).revision, revision) << '"' << text << '"';
    for (const char* text : {"", "0", "Revision", "$Rev: $", "r - 5", "r_5", " 5", "-5", "+5", "_5",
                             "@5", "[5", "`5", "{5", "/5", "\xe9 5"})
        EXPECT_EQ(withRevision(text).revision, 0) << '"' << text << '"';
    withRevision("99999999999999999999");  // some number, and nothing worse
}

TEST(Version, ReadsTheDate) {
    struct Case {
        const char* text;
        int year, month, day;
    };
    for (const auto& [text, year, month, day] : {Case{"Jul 16 2018", 2018, 7, 16},
                                                 {"jul 16 2018", 2018, 13, 16},
                                                 {"JUL 16 2018", 2018, 13, 16},
                                                 {"July 16 2018", 0, 7, 0},
                                                 {"Jul16-2018", -2018, 7, 16},
                                                 {"Jul 16 x", 0, 7, 16},
                                                 {"Jul x 2018", 0, 7, 0},
                                                 {"Jul", 0, 7, 0},
                                                 {"Ju\0 5 6", 0, 13, 0},
                                                 {"J\0l5 6", 0, 13, 0},
                                                 {"", 0, 13, 0}}) {
        SCOPED_TRACE(text);
        const SystemTime date = withDate(text).date;
        EXPECT_EQ(date.year, year);
        EXPECT_EQ(date.month, month);
        EXPECT_EQ(date.day, day);
    }
}

TEST(Version, KnowsTheMonths) {
    int month = 0;
    for (const char* name :
         {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"})
        EXPECT_EQ(withDate((std::string(name) + "  1 2024").c_str()).date.month, ++month);
}

TEST(Version, PrintsItsBannerAtInfo) {
    const CVersion version("Sample", 1, 0, 20, "Rev: 408842", plainDate);
    EXPECT_EQ(printed(3, [&] { version.print(); }), "");
    expectLines(printed(4, [&] { version.print(); }), "",
                {"[*] Sample 1.0.20.408842 Built in 2018/ 7/16 [*]"});
    expectLines(printed(4, [] { withDate("dec  3 7").print(); }), "",
                {"[*] Name 1.2.3.4 Built in 7/13/ 3 [*]"});
}

TEST(Version, IsAssignedAsAWhole) {
    const CVersion source("Source", 1, 2, 3, "4", plainDate);
    CVersion target("A longer name", 5, 6, 7, "8", "");
    target = source;
    EXPECT_STREQ(target.name, "Source");
    const std::array numbers{target.major,     target.minor,      target.patch,   target.revision,
                             target.date.year, target.date.month, target.date.day};
    EXPECT_EQ(numbers, (std::array{1, 2, 3, 4, 2018, 7, 16}));
}

TEST(Version, ApplicationDateStartsWithTheCenturyAndTakesADate) {
    const SystemTime start = CVersion::appDate;
    const auto expectDate = [](int year, int month, int day) {
        const SystemTime& date = CVersion::appDate;
        EXPECT_EQ((std::array{date.year, date.month, date.day}), (std::array{year, month, day}));
    };
    expectDate(2000, 1, 1);
    EXPECT_EQ(start.isdst, -1);
    CVersion::setAppDate("Dec 24 2025");
    expectDate(2025, 12, 24);
    CVersion::setAppDate("Mar");
    expectDate(2025, 3, 24);
    CVersion::setAppDate(nullptr);
    expectDate(2025, 13, 24);
    EXPECT_EQ(CVersion::appDate.isdst, start.isdst);
    EXPECT_EQ(CVersion::appDate.wday, start.wday);
    CVersion::appDate = start;
}

TEST(LegacyVersion, ReadsTheRevisionAndTellsOfLocalChanges) {
    struct Case {
        const char* text;
        int revision;
        bool changed;
    };
    constexpr Case cases[] = {{"1234", 1234, false}, {"1234M", 1234, true},  {" -7", -7, false},
                              {"Win32", 0, false},   {"Rev: 56", 56, false}, {"1:23:4", 23, false},
                              {"12:M", 0, true},     {"9:", 0, false},       {"Module", 0, true},
                              {"m5", 0, false},      {"", 0, false},         {":5", 5, false}};
    for (const Case& sample : cases) {
        SCOPED_TRACE(sample.text);
        const auto make = [&] {
            const CLegacyVersion version("Sample", 1, 2, 3, sample.text, plainDate);
            EXPECT_EQ(version.revision, sample.revision);
            EXPECT_EQ(version.date.day, 16);
        };
        EXPECT_EQ(printed(3, make), "");
        std::vector<std::string> lines;
        if (sample.changed) {
            lines.emplace_back(
                "Some [Sample] files are not commit to SVN server. It compied wtih "
                "local modified files.");
        }
        expectLines(printed(4, make), "", lines);
    }
}

TEST(LegacyVersion, EntersTheListOfTheProcessAfterTheLibrary) {
    const std::vector<VersionMatcher>& list = Detail::versionMatchers();
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list[0].name, "Vesko2");
    EXPECT_EQ((std::array{list[0].major, list[0].minor, list[0].patch}), (std::array{1, 0, 0}));

    const std::size_t before = list.size();
    const std::string longName(40, 'n');
    const CLegacyVersion named(longName.c_str(), 4, 5, 6, "", "");
    const CLegacyVersion nameless(nullptr, 7, 8, 9, "", "");
    ASSERT_EQ(list.size(), before + 2);
    EXPECT_EQ(list[before].name, longName);
    EXPECT_EQ(list[before].patch, 6);
    EXPECT_EQ(list[before + 1].name, "");
    EXPECT_EQ(list[before + 1].major, 7);
}

std::string outputOf(const std::string& command) {
    std::string text;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return "no pipe";
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
    EXPECT_EQ(::pclose(pipe), 0);
    return text;
}

TEST(Load, IsSilentByDefaultAndTellsTheLibrarysTableAtInfo) {
    EXPECT_EQ(outputOf(LOAD_PROGRAM), "");
    expectLines(outputOf(LOAD_PROGRAM " info"), "",
                {"check include version:Vesko", "URL: vesko/include/Component 408842",
                 "URL: vesko/include/Vesko 414218", "URL: vesko/include/Memory 282672",
                 "URL: vesko/include/MiniVesko 468624", "URL: vesko/include/Utils 433497"});
}

TEST(Load, RegistersTheLibrarysHeadersBeforeAllOthers) {
    static constexpr IncludeVersionRow rows[] = {{"URL: vesko/include/Memory", "1"}};
    expectLines(
        printed(3, [] { const CCheckIncludeVersion check("Late", rows, 1); }),
        "src/checkincludeversion.cpp",
        {"<object> check include version failed", "<object> Vesko URL: vesko/include/Memory 282672",
         "<object> Late URL: vesko/include/Memory 1",
         "<object> check include version failed, assert"});
}

}  // namespace
