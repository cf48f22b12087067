#include "vesko/vesko3/function.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>

#include "support/allocations.h"
#include "support/capture.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Delegate = TFunction1<int, int>;

auto listOf(auto... each) { return std::array{each...}; }

int twice(int value) { return 2 * value; }
int thrice(int value) { return 3 * value; }

struct Base {
    virtual ~Base() = default;
    int add(int value) { return value + offset; }
    int addConst(int value) const { return value + 100 + offset; }
    virtual int which(int) { return 1; }
    int reuse(int) { return static_cast<int>(getCurrentFunctionReuse()); }
    int offset = 5;
};
struct Padding {
    virtual ~Padding() = default;
    int padding = 0;
};
// Base does not stand at the start of Derived: the object pointer has to move.
struct Derived : Padding, Base {
    int which(int) override { return 2; }
};

TEST(Delegate, CallsWhatItNamesWithoutAllocating) {
    Base base;
    const Base constant;
    Derived derived;
    const std::size_t before = Tovra::Testing::allocationCount();
    const auto delegates =
        listOf(Delegate(&twice), Delegate(&Base::add, &base), Delegate(&Base::addConst, &constant),
               Delegate(&Base::which, static_cast<Base*>(&derived)), Delegate(&Base::add, &derived),
               Delegate(&Base::which, &derived), Delegate(&Base::add, &derived, 16),
               Delegate(&Base::addConst, &base, 17));
    constexpr int results[] = {2, 6, 106, 2, 6, 2, 6, 106};  // for the argument 1
    for (std::size_t i = 0; i < std::size(delegates); ++i) {
        const Delegate copy = delegates[i];
        EXPECT_EQ(copy(1), results[i]) << i;
        EXPECT_TRUE(copy == delegates[i] && !copy.empty()) << i;
    }
    EXPECT_EQ(Tovra::Testing::allocationCount(), before);
}

TEST(Delegate, IsEqualWhenItNamesTheSame) {
    Base one, other;
    const Delegate any(&Base::add, &one, 0xFFFFFFFF);
    const auto all =
        listOf(Delegate(&Base::add, &one, 16), Delegate(&Base::add, &one, 17),
               Delegate(&Base::add, &one, 0xFFFFFFFE), Delegate(&Base::add, &other, 16),
               Delegate(&Base::addConst, &one, 16), Delegate(&Base::add, &one),
               Delegate(&Base::add, &other), Delegate(&Base::add, &one, 3), Delegate(),
               Delegate(&twice), Delegate(&thrice));
    for (std::size_t i = 0; i < std::size(all); ++i) {
        EXPECT_TRUE((any == all[i]) == (i < 3) && (all[i] != any) == (i >= 3)) << i;
        for (std::size_t j = 0; j < std::size(all); ++j)
            EXPECT_TRUE((all[i] == all[j]) == (i == j) && (all[i] != all[j]) == (i != j)) << i << j;
    }
    EXPECT_TRUE(any == any && any.isReuseAny() && !all[0].isReuseAny());
    EXPECT_TRUE(Delegate(static_cast<int (*)(int)>(nullptr)).empty());
}

TEST(Delegate, ReportsACallOfWhatCannotBeCalled) {
    const std::string report = "FUNCTION_FUNCTION::operator() invalid function type : ";
    EXPECT_EQ(printed(0, [] { EXPECT_EQ(Delegate()(1), 0); }), report + "0, typeid : (null)\n");
    Base base;
    const std::string type = std::string(", typeid : ") + typeid(Base*).name() + "\n";
    for (const unsigned int number : {2U, 15U, 0xFFFFFFFF}) {
        const Delegate delegate(&Base::add, &base, number);
        EXPECT_EQ(printed(0, [&] { EXPECT_EQ(delegate(1), 0); }),
                  report + std::to_string(std::max(number, 3U)) + type);
    }
}

TEST(Delegate, TellsTheReuseNumberToItsCallee) {
    Base base;
    EXPECT_EQ(Delegate(&Base::reuse, &base, 20)(0), 20);
    std::thread([&] {
        EXPECT_EQ(getCurrentFunctionReuse(), 0U);
        EXPECT_EQ(Delegate(&Base::reuse, &base, 21)(0), 21);
    }).join();
    EXPECT_EQ(getCurrentFunctionReuse(), 20U) << "it stays after the call";
    EXPECT_EQ(Delegate(&Base::reuse, &base)(0), 20) << "a plain member call leaves it alone";
}

}  // namespace
