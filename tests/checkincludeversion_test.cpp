#include "checkincludeversion.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Lines = std::vector<std::string>;

/// Expects the lines at level info, and those of errors behind them.
void expectLines(const std::string& text, Lines lines, const Lines& errors) {
    for (const std::string& error : errors) lines.push_back("<object> " + error);
    Tovra::Testing::expectLines(text, "src/checkincludeversion.cpp", lines);
}

TEST(CheckIncludeVersion, TakesDigitsAloneForANumber) {
    for (const char* text : {"0", "9", "0123456789", "99999999999999999999"})
        EXPECT_TRUE(CCheckIncludeVersionInter::isNumber(text)) << text;
    for (const char* text : {"", " ", "1234M", "M1234", "-1", "+1", "1.0", "/", ":", "1\n"})
        EXPECT_FALSE(CCheckIncludeVersionInter::isNumber(text)) << text;
    EXPECT_FALSE(CCheckIncludeVersionInter::isNumber(nullptr));
}

struct Module {
    const char* name;
    std::vector<IncludeVersionRow> rows;
};

// What the last of several modules meets: the lines at level error.
const struct {
    const char* what;
    std::vector<Module> modules;
    Lines errors;
} cases[] = {
    {"other paths", {{"A", {{"x", "1"}}}, {"B", {{"X", "2"}, {"x/", "3"}, {"x", "1"}}}}, {}},
    {"twice in its own table", {{"A", {{"x", "1"}, {"x", "2"}}}}, {}},
    {"unclean",
     {{"A", {{"u", "1M"}, {"v", "1"}, {"w", ""}, {"x", nullptr}}}},
     {"A version error", "u 1M", "w ", "x (null)"}},
    {"unclean, so not compared",
     {{"A", {{"x", "1"}}}, {"B", {{"x", "2"}, {"y", "z"}}}},
     {"B version error", "y z"}},
    {"another spelling",
     {{"A", {{"w", "1"}, {"x", "1"}}}, {"B", {{"x", "01"}}}},
     {"check include version failed", "A x 1", "B x 01"}},
    {"an earlier module that failed",
     {{"A", {{"x", nullptr}, {"y", "1M"}}}, {"B", {{"y", "1"}, {"x", "2"}}}},
     {"check include version failed", "A x (null)", "B x 2", "A y 1M", "B y 1"}},
    {"each pair of rows by itself",
     {{"A", {{"x", "1"}, {"x", "2"}}}, {"B", {{"x", "3"}, {"x", "1"}}}},
     {"check include version failed", "A x 1", "B x 3", "A x 2", "B x 3", "A x 2", "B x 1"}},
    {"the walk stops at the first that differs",
     {{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"y", "2"}, {"x", "2"}}}},
     {"check include version failed", "A x 1", "C x 2"}},
    {"the walk goes on past one that agrees",
     {{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"x", "1"}, {"y", "2"}}}},
     {"check include version failed", "B y 1", "C y 2"}},
};

TEST(CheckIncludeVersion, ComparesAModuleWithTheEarlierOnes) {
    for (const auto& row : cases) {
        for (const int level : {1, 3, 4}) {
            SCOPED_TRACE(testing::Message() << row.what << " at level " << level);
            CCheckIncludeVersionInter check;
            std::string text;
            bool passed = false;
            Lines infos;
            for (const auto& [name, rows] : row.modules) {
                const int count = static_cast<int>(rows.size());
                text = printed(level, [&, &name = name, &rows = rows] {
                    passed = check.check(name, rows.data(), count);
                });
                infos = {std::string("check include version:") + name};
                for (const auto& [path, revision] : rows)
                    infos.push_back(std::string(path) + ' ' +
                                    (revision != nullptr ? revision : "(null)"));
            }
            EXPECT_EQ(passed, row.errors.empty());
            expectLines(text, level == 4 ? infos : Lines{}, level == 1 ? Lines{} : row.errors);
        }
    }
    CCheckIncludeVersionInter check;
    EXPECT_TRUE(check.check("A", nullptr, 0) && check.check(nullptr, nullptr, -1));
}

TEST(CheckIncludeVersion, TheFrontComparesWithTheLibrarysOwnAndGoesOn) {
    static constexpr IncludeVersionRow rows[] = {{"URL: vesko/include/Memory", "1"}};
    expectLines(printed(3, [] { const CCheckIncludeVersion check("Late", rows, 1); }), {},
                {"check include version failed", "Vesko URL: vesko/include/Memory 282672",
                 "Late URL: vesko/include/Memory 1", "check include version failed, assert"});
}

TEST(CheckIncludeVersion, RegistersFromManyThreads) {
    static constexpr IncludeVersionRow rows[] = {{"x", "1"}, {"x", "2"}};
    CCheckIncludeVersionInter check;
    const auto work = [&check] {
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(check.check("A", rows, 1));
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    expectLines(printed(3, [&] { EXPECT_FALSE(check.check("B", rows + 1, 1)); }), {},
                {"check include version failed", "A x 1", "B x 2"});
}

}  // namespace
