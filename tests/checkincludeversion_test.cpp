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

struct Module {
    const char* name;
    std::vector<IncludeVersionRow> rows;
};

void expectLines(const std::string& text, const Lines& messages) {
    Tovra::Testing::expectLines(text, "src/checkincludeversion.cpp", messages);
}

TEST(CheckIncludeVersion, TakesDigitsAloneForANumber) {
    for (const char* text : {"0", "9", "0123456789", "99999999999999999999"})
        EXPECT_TRUE(CCheckIncludeVersionInter::isNumber(text)) << text;
    for (const char* text :
         {"", " ", "1234M", "M1234", "12 34", "-1", "+1", "1.0", "/", ":", "1\n"})
        EXPECT_FALSE(CCheckIncludeVersionInter::isNumber(text)) << text;
    EXPECT_FALSE(CCheckIncludeVersionInter::isNumber(nullptr));
}

// What the last of several modules meets: its outcome, and the lines at level error.
struct Case {
    const char* what;
    std::vector<Module> modules;
    Lines errors;
};

const Case cases[] = {
    {"no rows", {{"A", {}}}, {}},
    {"one module", {{"A", {{"x", "1"}, {"y", "2"}}}}, {}},
    {"same revision", {{"A", {{"x", "1"}}}, {"B", {{"x", "1"}}}}, {}},
    {"other paths", {{"A", {{"x", "1"}}}, {"B", {{"X", "2"}, {"x/", "3"}}}}, {}},
    {"twice in its own table", {{"A", {{"x", "1"}, {"x", "2"}}}}, {}},
    {"unclean",
     {{"A", {{"u", "1234M"}, {"v", "1"}, {"w", ""}, {"x", nullptr}}}},
     {"<object> A version error", "<object> u 1234M", "<object> w ", "<object> x (null)"}},
    {"unclean, so not compared",
     {{"A", {{"x", "1"}}}, {"B", {{"x", "2"}, {"y", "z"}}}},
     {"<object> B version error", "<object> y z"}},
    {"another revision",
     {{"A", {{"w", "1"}, {"x", "1"}}}, {"B", {{"x", "2"}}}},
     {"<object> check include version failed", "<object> A x 1", "<object> B x 2"}},
    {"another spelling of the number",
     {{"A", {{"x", "1"}}}, {"B", {{"x", "01"}}}},
     {"<object> check include version failed", "<object> A x 1", "<object> B x 01"}},
    {"an earlier module that failed",
     {{"A", {{"x", nullptr}, {"y", "1M"}, {"z", ""}}}, {"B", {{"y", "1"}, {"x", "2"}, {"z", "3"}}}},
     {"<object> check include version failed", "<object> A x (null)", "<object> B x 2",
      "<object> A y 1M", "<object> B y 1", "<object> A z ", "<object> B z 3"}},
    {"each pair of rows by itself",
     {{"A", {{"x", "1"}, {"x", "2"}}}, {"B", {{"x", "3"}, {"x", "1"}}}},
     {"<object> check include version failed", "<object> A x 1", "<object> B x 3", "<object> A x 2",
      "<object> B x 3", "<object> A x 2", "<object> B x 1"}},
    {"the walk stops at the first that differs",
     {{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"y", "2"}, {"x", "2"}}}},
     {"<object> check include version failed", "<object> A x 1", "<object> C x 2"}},
    {"the walk goes on past one that agrees",
     {{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"x", "1"}, {"y", "2"}}}},
     {"<object> check include version failed", "<object> B y 1", "<object> C y 2"}},
};

bool registerIn(CCheckIncludeVersionInter& check, const Module& module) {
    return check.check(module.name, module.rows.data(), static_cast<int>(module.rows.size()));
}

TEST(CheckIncludeVersion, ComparesAModuleWithTheEarlierOnes) {
    for (const auto& [what, modules, errors] : cases) {
        SCOPED_TRACE(what);
        Lines all{std::string("check include version:") + modules.back().name};
        for (const auto& [path, revision] : modules.back().rows)
            all.push_back(std::string(path) + ' ' + (revision != nullptr ? revision : "(null)"));
        all.insert(all.end(), errors.begin(), errors.end());

        struct Threshold {
            int level;
            Lines lines;
        };
        for (const auto& [level, lines] : {Threshold{1, {}}, {2, errors}, {3, errors}, {4, all}}) {
            SCOPED_TRACE(level);
            CCheckIncludeVersionInter check;
            for (std::size_t i = 0; i + 1 < modules.size(); ++i)
                printed(0, [&, &earlier = modules[i]] { registerIn(check, earlier); });
            bool passed = false;
            expectLines(
                printed(level, [&, &last = modules.back()] { passed = registerIn(check, last); }),
                lines);
            EXPECT_EQ(passed, errors.empty());
        }
    }
}

TEST(CheckIncludeVersion, AcceptsNoTable) {
    CCheckIncludeVersionInter check;
    EXPECT_TRUE(check.check("A", nullptr, 0));
    EXPECT_TRUE(check.check(nullptr, nullptr, -1));
}

TEST(CheckIncludeVersion, TheFrontReportsAFailureAndGoesOn) {
    static constexpr IncludeVersionRow rows[] = {{"front", "1"}};
    static constexpr IncludeVersionRow others[] = {{"front", "2"}};
    EXPECT_EQ(printed(3, [] { const CCheckIncludeVersion check("A", rows, 1); }), "");
    expectLines(printed(3, [] { const CCheckIncludeVersion check("B", others, 1); }),
                {"<object> check include version failed", "<object> A front 1",
                 "<object> B front 2", "<object> check include version failed, assert"});
}

TEST(CheckIncludeVersion, RegistersFromManyThreads) {
    static constexpr IncludeVersionRow rows[] = {{"x", "1"}};
    static constexpr IncludeVersionRow others[] = {{"x", "2"}};
    CCheckIncludeVersionInter check;
    const auto work = [&check] {
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(check.check("A", rows, 1));
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    std::string text = printed(3, [&] { EXPECT_FALSE(check.check("B", others, 1)); });
    expectLines(text,
                {"<object> check include version failed", "<object> A x 1", "<object> B x 2"});
}

}  // namespace
