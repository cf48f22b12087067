#include "vesko/vesko3/function.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/allocations.h"
#include "support/capture.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Delegate = TFunction1<int, int>;

int twice(int value) { return 2 * value; }
int thrice(int value) { return 3 * value; }

struct Base {
    virtual ~Base() = default;
    int add(int value) { return value + offset; }
    int addConst(int value) const { return value + 100 + offset; }
    int addNoexcept(int value) noexcept { return value + 200 + offset; }
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
struct Virtual : virtual Base {
    int own(int value) { return value + offset + 1000; }
};

TEST(Delegate, CallsWhatItNamesWithoutAllocating) {
    Base base;
    const Base constant;
    Derived derived;
    Virtual virtualBase;
    struct Case {
        const char* name;
        Delegate delegate;
        int result;  // for the argument 1
    };
    const std::size_t before = Tovra::Testing::allocationCount();
    const Case cases[] = {{"plain", Delegate(&twice), 2},
                          {"member", Delegate(&Base::add, &base), 6},
                          {"const member", Delegate(&Base::addConst, &base), 106},
                          {"const object", Delegate(&Base::addConst, &constant), 106},
                          {"noexcept member", Delegate(&Base::addNoexcept, &base), 206},
                          {"virtual", Delegate(&Base::which, &base), 1},
                          {"overridden", Delegate(&Base::which, static_cast<Base*>(&derived)), 2},
                          {"base of derived", Delegate(&Base::add, &derived), 6},
                          {"virtual of derived", Delegate(&Base::which, &derived), 2},
                          {"with a virtual base", Delegate(&Virtual::own, &virtualBase), 1006},
                          {"reuse", Delegate(&Base::add, &base, 16), 6},
                          {"reuse of const", Delegate(&Base::addConst, &base, 17), 106}};
    for (const auto& [name, delegate, result] : cases) {
        Delegate copy;
        copy = delegate;
        EXPECT_EQ(copy(1), result) << name;
        EXPECT_TRUE(copy == delegate && !copy.empty()) << name;
    }
    EXPECT_EQ(Tovra::Testing::allocationCount(), before);
}

struct Collector {
    void five(void*, const std::string& text, int& count, std::string&& moved, char letter) {
        seen = text + moved + letter + std::to_string(++count);
    }
    std::string seen;
};

TEST(Delegate, TakesAnyNumberAndKindOfArguments) {
    Collector collector;
    int count = 0;
    TFunction5<void, void*, const std::string&, int&, std::string&&, char>(
        &Collector::five, &collector)(nullptr, "a", count, "b", 'c');
    EXPECT_EQ(collector.seen, "abc1");
    EXPECT_EQ(count, 1);
}

TEST(Delegate, IsEqualWhenItNamesTheSame) {
    Base one;
    Base other;
    const Delegate empty;
    const Delegate fromNull(static_cast<int (*)(int)>(nullptr));
    const Delegate plain(&twice);
    const Delegate member(&Base::add, &one);
    const Delegate reuse16(&Base::add, &one, 16);
    const Delegate reuseAny(&Base::add, &one, 0xFFFFFFFF);
    const Delegate unused(&Base::add, &one, 3);
    struct Case {
        const char* name;
        Delegate a, b;
        bool equal;
    };
    const Case cases[] = {
        {"null is empty", fromNull, empty, true},
        {"empty and plain", empty, plain, false},
        {"same plain", plain, Delegate(&twice), true},
        {"other plain", plain, Delegate(&thrice), false},
        {"same member", member, Delegate(&Base::add, &one), true},
        {"other object", member, Delegate(&Base::add, &other), false},
        {"other member", member, Delegate(&Base::addConst, &one), false},
        {"member and plain", member, plain, false},
        {"same reuse", reuse16, Delegate(&Base::add, &one, 16), true},
        {"other number", reuse16, Delegate(&Base::add, &one, 17), false},
        {"reuse of another object", reuse16, Delegate(&Base::add, &other, 16), false},
        {"any matches 16", reuseAny, reuse16, true},
        {"any matches 0xFFFFFFFE", reuseAny, Delegate(&Base::add, &one, 0xFFFFFFFE), true},
        {"any matches any", reuseAny, reuseAny, true},
        {"any of another object", reuseAny, Delegate(&Base::add, &other, 16), false},
        {"any and member", reuseAny, member, false},
        {"reuse and member", reuse16, member, false},
        {"same unused kind", unused, Delegate(&Base::which, &other, 3), true},
        {"two unused kinds", unused, Delegate(&Base::add, &one, 4), false}};
    for (const auto& [name, a, b, equal] : cases) {
        EXPECT_TRUE((a == b) == equal && (b == a) == equal && (a != b) != equal) << name;
    }
    EXPECT_TRUE(fromNull.empty());
    EXPECT_TRUE(reuseAny.isReuseAny());
    EXPECT_FALSE(reuse16.isReuseAny());
}

TEST(Delegate, ReportsACallOfWhatCannotBeCalled) {
    const std::string report = "FUNCTION_FUNCTION::operator() invalid function type : ";
    EXPECT_EQ(printed(0, [] { EXPECT_EQ(Delegate()(1), 0); }), report + "0, typeid : (null)\n");
    Base base;
    const std::string type = std::string(", typeid : ") + typeid(Base*).name() + "\n";
    constexpr std::pair<unsigned int, const char*> cases[] = {
        {0, "3"}, {1, "3"}, {2, "3"}, {3, "3"}, {15, "15"}, {0xFFFFFFFF, "4294967295"}};
    for (const auto& [number, told] : cases) {
        const Delegate delegate(&Base::add, &base, number);
        EXPECT_FALSE(delegate.empty());
        EXPECT_EQ(printed(0, [&] { EXPECT_EQ(delegate(1), 0); }), report + told + type);
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
