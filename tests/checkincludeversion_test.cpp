#include "checkincludeversion.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/lines.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Lines = std::vector<std::string>;

constexpr const char* failed = "<object> check include version failed";

void expectLines(const std::string& text, const Lines& lines) {
    Tovra::Testing::expectLines(text, "src/checkincludeversion.cpp", lines);
}

TEST(CheckIncludeVersion, TakesDigitsAloneForANumber) {
    EXPECT_TRUE(CCheckIncludeVersionInter::isNumber("01234567899999999999999"));
    for (const char* text : {"", "1234M", "M1234", "-1", "+1", "/", ":"})
        EXPECT_FALSE(CCheckIncludeVersionInter::isNumber(text)) << text;
}

using Module = std::pair<const char*, std::vector<IncludeVersionRow>>;

TEST(CheckIncludeVersion, ComparesAModuleWithTheEarlierOnes) {
    // What the last of several modules meets, and the lines at level error of all of them.
    const struct {
        std::vector<Module> modules;
        Lines errors;
    } cases[] = {{{{"A", {{"x", "1"}}}, {"B", {{"X", "2"}, {"X", "4"}, {"x/", "3"}}}}, {}},
                 {{{"A", {{"x", "1"}}}, {"B", {{"x", "2"}, {"y", "z"}}}},
                  {"<object> B version error", "<object> y z"}},
                 // An earlier one failed by itself, and is compared all the same.
                 {{{"A", {{"x", nullptr}, {"y", "1M"}}}, {"B", {{"y", "1"}, {"x", "2"}}}},
                  {"<object> A version error", "<object> x (null)", "<object> y 1M", failed,
                   "<object> A x (null)", "<object> B x 2", "<object> A y 1M", "<object> B y 1"}},
                 // The walk stops at the first that differs, and goes on past one that agrees.
                 {{{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"y", "2"}, {"x", "01"}}}},
                  {failed, "<object> A x 1", "<object> C x 01"}},
                 {{{"A", {{"x", "1"}}}, {"B", {{"y", "1"}}}, {"C", {{"x", "1"}, {"y", "2"}}}},
                  {failed, "<object> B y 1", "<object> C y 2"}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        CCheckIncludeVersionInter check;
        bool passed = false;
        const auto registerAll = [&] {
            for (const auto& [name, rows] : row.modules)
                passed = check.check(name, rows.data(), static_cast<int>(rows.size()));
        };
        expectLines(printed(2, registerAll), row.errors);
        EXPECT_EQ(passed, row.errors.empty());
    }
}

TEST(CheckIncludeVersion, TheFrontComparesWithTheLibrarysOwnAndGoesOn) {
    static constexpr IncludeVersionRow rows[] = {{"URL: vesko/include/Memory", "1"}};
    expectLines(printed(3, [] { const CCheckIncludeVersion check("Late", rows, 1); }),
                {failed, "<object> Vesko URL: vesko/include/Memory 282672",
                 "<object> Late URL: vesko/include/Memory 1",
                 "<object> check include version failed, assert"});
}

TEST(CheckIncludeVersion, RegistersFromManyThreads) {
    static constexpr IncludeVersionRow row = {"x", "1"};
    CCheckIncludeVersionInter check;
    const auto work = [&check] {
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(check.check("A", &row, 1));
    };
    const std::jthread threads[] = {std::jthread(work), std::jthread(work)};
}

}  // namespace
