#include "vesko/vesko3/version.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"
#include "vesko3/legacyversion.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;

std::array<int, 3> dayOf(const SystemTime& date) { return {date.year, date.month, date.day}; }

template <class Version>
class AnyVersion : public testing::Test {};
using Versions = testing::Types<CVersion, CLegacyVersion>;
TYPED_TEST_SUITE(AnyVersion, Versions);

TYPED_TEST(AnyVersion, KeepsTheNumbersAndWhatFitsOfTheName) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    for (const std::size_t length : {0U, 1U, 31U, 32U, 40U}) {
        const TypeParam version(letters.substr(0, length).c_str(), 1, -2, 3, "4", "Jul 16 2018");
        EXPECT_EQ(version.name, letters.substr(0, std::min(length, std::size_t{31})));
        EXPECT_EQ((std::array{version.major, version.minor, version.patch, version.revision}),
                  (std::array{1, -2, 3, 4}));
        EXPECT_EQ(dayOf(version.date), (std::array{2018, 7, 16}));
    }
}

TYPED_TEST(AnyVersion, ReadsNullAsTheEmptyTextAndLeavesNothingStale) {
    alignas(TypeParam) unsigned char memory[sizeof(TypeParam)];
    std::memset(memory, 0x5A, sizeof(memory));
    const auto* version = new (memory) TypeParam(nullptr, 1, 2, 3, nullptr, nullptr);
    EXPECT_STREQ(version->name, "");
    EXPECT_EQ(version->revision, 0);
    const SystemTime unread = {0, 13, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(&version->date, &unread, sizeof(unread)), 0);
}

TEST(Version, ReadsTheRevision) {
    const auto expectRevision = [](int revision, const std::vector<const char*>& texts) {
        for (const char* text : texts)
            EXPECT_EQ(CVersion("", 1, 2, 3, text, "").revision, revision) << '"' << text << '"';
    };
    expectRevision(5, {"5M", "005", "5:34", "$Rev: 5 $", "$Rev:\t\n 5", ":5", "$:azAZ5", "r +5"});
    expectRevision(0, {"", "Revision", "r - 5", " 5", "-5", "@5", "[5", "`5", "{5", "\xe9 5"});
}

TEST(Version, ReadsTheDate) {
    const std::pair<const char*, std::array<int, 3>> rows[] = {{"jul 16 2018", {2018, 13, 16}},
                                                               {"July 16 2018", {0, 7, 0}},
                                                               {"Jul16-2018", {-2018, 7, 16}},
                                                               {"Ju\0 5 6", {0, 13, 0}}};
    for (const auto& [text, day] : rows)
        EXPECT_EQ(dayOf(CVersion("", 1, 2, 3, "", text).date), day) << text;
    int month = 0;
    for (const char* name :
         {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"})
        EXPECT_EQ(CVersion("", 1, 2, 3, "", name).date.month, ++month);
}

TEST(Version, PrintsItsBannerAtInfo) {
    EXPECT_EQ(printed(4, [] { CVersion("Sample", 1, 0, 20, "408842", "Jul 16 2018").print(); }),
              "[*] Sample 1.0.20.408842 Built in 2018/ 7/16 [*]\n");
}

TEST(Version, ApplicationDateStartsWithTheCenturyAndTakesADate) {
    const SystemTime start = CVersion::appDate;
    EXPECT_EQ(dayOf(start), (std::array{2000, 1, 1}));
    CVersion::setAppDate("Dec 24 2025");
    EXPECT_EQ(dayOf(CVersion::appDate), (std::array{2025, 12, 24}));
    CVersion::setAppDate(nullptr);
    EXPECT_EQ(dayOf(CVersion::appDate), (std::array{2025, 13, 24}));
    CVersion::appDate = start;
}

TEST(LegacyVersion, ReadsTheRevisionAndTellsOfLocalChanges) {
    const struct {
        const char* text;
        int revision;
        bool changed;
    } rows[] = {{"1234M", 1234, true},  {" -7", -7, false},    {"m5", 0, false},
                {"Rev: 56", 56, false}, {"1:23:4", 23, false}, {"Module", 0, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto make = [&] {
            EXPECT_EQ(CLegacyVersion("Sample", 1, 2, 3, row.text, "").revision, row.revision);
        };
        EXPECT_EQ(printed(4, make), row.changed
                                        ? "Some [Sample] files are not commit to SVN server. "
                                          "It compied wtih local modified files.\n"
                                        : "");
    }
}

TEST(LegacyVersion, EntersTheListOfTheProcessAfterTheLibrary) {
    const std::string longName(40, 'n');
    const CLegacyVersion named(longName.c_str(), 4, 5, 6, "", "");
    const auto entry = [](const VersionMatcher& of) {
        return std::tuple(of.name, of.major, of.minor, of.patch);
    };
    EXPECT_EQ(entry(Detail::versionMatchers().front()), std::tuple("Vesko2", 1, 0, 0));
    EXPECT_EQ(entry(Detail::versionMatchers().back()), std::tuple(longName, 4, 5, 6));
}

std::string outputOf(const std::string& command) {
    std::string text;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
    EXPECT_EQ(::pclose(pipe), 0);
    return text;
}

TEST(Load, IsSilentByDefaultAndTellsTheLibrarysTableAtInfo) {
    EXPECT_EQ(outputOf(LOAD_PROGRAM), "");
    Tovra::Testing::expectLines(
        outputOf(LOAD_PROGRAM " info"), "",
        {"check include version:Vesko", "URL: vesko/include/Component 408842",
         "URL: vesko/include/Vesko 414218", "URL: vesko/include/Memory 282672",
         "URL: vesko/include/MiniVesko 468624", "URL: vesko/include/Utils 433497"});
}

}  // namespace
