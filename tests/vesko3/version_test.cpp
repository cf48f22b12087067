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

constexpr char plainDate[] = "Jul 16 2018";

CVersion withDate(const char* date) { return {"Name", 1, 2, 3, "4", date}; }

std::array<int, 3> dayOf(const SystemTime& date) { return {date.year, date.month, date.day}; }

template <class Version>
class AnyVersion : public testing::Test {};
using Versions = testing::Types<CVersion, CLegacyVersion>;
TYPED_TEST_SUITE(AnyVersion, Versions);

TYPED_TEST(AnyVersion, KeepsTheNumbersAndWhatFitsOfTheName) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    for (const std::size_t length : {0U, 1U, 31U, 32U, 40U}) {
        const TypeParam version(letters.substr(0, length).c_str(), 1, -2, 3, "4", plainDate);
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
    expectRevision(5, {"5", "5M", "005", "5:34", "Win5", "$Rev: 5 $", "$Rev:5$", "$Revision:\t\n 5",
                       ":5", "$:azAZ5", "r +5"});
    expectRevision(-5, {"r-5"});
    expectRevision(2147483647, {"2147483647"});
    expectRevision(0, {"", "0", "Revision", "$Rev: $", "r - 5", "r_5", " 5", "-5", "+5", "_5", "@5",
                       "[5", "`5", "{5", "/5", "\xe9 5"});
    CVersion("", 1, 2, 3, "99999999999999999999", "");  // some number, and nothing worse
}

using DateRow = std::pair<const char*, std::array<int, 3>>;

TEST(Version, ReadsTheDate) {
    const DateRow rows[] = {{"jul 16 2018", {2018, 13, 16}}, {"July 16 2018", {0, 7, 0}},
                            {"Jul16-2018", {-2018, 7, 16}},  {"Jul 16 x", {0, 7, 16}},
                            {"Jul x 2018", {0, 7, 0}},       {"Ju\0 5 6", {0, 13, 0}},
                            {"J\0l5 6", {0, 13, 0}}};
    for (const auto& [text, day] : rows) EXPECT_EQ(dayOf(withDate(text).date), day) << text;
    int month = 0;
    for (const char* name :
         {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"})
        EXPECT_EQ(withDate(name).date.month, ++month);
}

TEST(Version, PrintsItsBannerAtInfo) {
    const CVersion version("Sample", 1, 0, 20, "Rev: 408842", plainDate);
    EXPECT_EQ(printed(3, [&] { version.print(); }), "");
    EXPECT_EQ(printed(4, [&] { version.print(); }),
              "[*] Sample 1.0.20.408842 Built in 2018/ 7/16 [*]\n");
}

TEST(Version, ApplicationDateStartsWithTheCenturyAndTakesADate) {
    const SystemTime start = CVersion::appDate;
    EXPECT_EQ(dayOf(start), (std::array{2000, 1, 1}));
    const DateRow rows[] = {
        {"Dec 24 2025", {2025, 12, 24}}, {"Mar", {2025, 3, 24}}, {nullptr, {2025, 13, 24}}};
    for (const auto& [text, day] : rows) {
        CVersion::setAppDate(text);
        EXPECT_EQ(dayOf(CVersion::appDate), day);
    }
    EXPECT_EQ(CVersion::appDate.isdst, -1);
    CVersion::appDate = start;
}

TEST(LegacyVersion, ReadsTheRevisionAndTellsOfLocalChanges) {
    const struct {
        const char* text;
        int revision;
        bool changed;
    } rows[] = {{"1234", 1234, false}, {"1234M", 1234, true},  {" -7", -7, false},
                {"Win32", 0, false},   {"Rev: 56", 56, false}, {"1:23:4", 23, false},
                {"12:M", 0, true},     {"9:", 0, false},       {"Module", 0, true},
                {"m5", 0, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto make = [&] {
            EXPECT_EQ(CLegacyVersion("Sample", 1, 2, 3, row.text, "").revision, row.revision);
        };
        EXPECT_EQ(printed(3, make), "");
        EXPECT_EQ(printed(4, make), row.changed
                                        ? "Some [Sample] files are not commit to SVN server. "
                                          "It compied wtih local modified files.\n"
                                        : "");
    }
}

TEST(LegacyVersion, EntersTheListOfTheProcessAfterTheLibrary) {
    const std::vector<VersionMatcher>& list = Detail::versionMatchers();
    const std::size_t before = list.size();
    const std::string longName(40, 'n');
    const CLegacyVersion named(longName.c_str(), 4, 5, 6, "", "");
    const CLegacyVersion nameless(nullptr, 7, 8, 9, "", "");
    ASSERT_EQ(list.size(), before + 2);
    const auto entry = [&](std::size_t at) {
        return std::tuple(list[at].name, list[at].major, list[at].minor, list[at].patch);
    };
    EXPECT_EQ(entry(0), std::tuple("Vesko2", 1, 0, 0));
    EXPECT_EQ(entry(before), std::tuple(longName, 4, 5, 6));
    EXPECT_EQ(entry(before + 1), std::tuple("", 7, 8, 9));
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
    Tovra::Testing::expectLines(
        outputOf(LOAD_PROGRAM " info"), "",
        {"check include version:Vesko", "URL: vesko/include/Component 408842",
         "URL: vesko/include/Vesko 414218", "URL: vesko/include/Memory 282672",
         "URL: vesko/include/MiniVesko 468624", "URL: vesko/include/Utils 433497"});
}

}  // namespace
