#include "vesko/vesko3/function.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/allocations.h"
#include "support/capture.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::allocationsOf;
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

TEST(Delegate, CallsWhatItNames) {
    Base base;
    const Base constant;
    Derived derived;
    Virtual virtualBase;
    struct Case {
        const char* name;
        Delegate delegate;
        int result;  // for the argument 1
    };
    const Case cases[] = {
        {"plain", Delegate(&twice), 2},
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
        {"reuse of const", Delegate(&Base::addConst, &base, 17), 106},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        const Delegate copy = one.delegate;
        EXPECT_EQ(copy(1), one.result);
        EXPECT_TRUE(copy == one.delegate);
        EXPECT_FALSE(copy.empty());
    }
}

TEST(Delegate, TakesAnyNumberAndKindOfArguments) {
    std::string seen;
    struct Collector {
        void five(void*, const std::string& text, int& counter, std::string&& moved, char letter) {
            *seen = text + moved + letter;
            ++counter;
        }
        std::string* seen;
    } collector{&seen};
    int counter = 0;
    const TFunction5<void, void*, const std::string&, int&, std::string&&, char> five(
        &Collector::five, &collector);
    five(nullptr, "a", counter, "b", 'c');
    EXPECT_EQ(seen, "abc");
    EXPECT_EQ(counter, 1);
}

TEST(Delegate, IsEqualWhenItNamesTheSame) {
    Base one;
    Base other;
    const Delegate empty;
    const Delegate fromNull(static_cast<int (*)(int)>(nullptr));
    const Delegate plain(&twice);
    const Delegate member(&Base::add, &one);
    const Delegate reuse16(&Base::add, &one, 16);
    const Delegate reuse17(&Base::add, &one, 17);
    const Delegate reuseAny(&Base::add, &one, 0xFFFFFFFF);
    struct Case {
        const char* name;
        Delegate a, b;
        bool equal;
    };
    const Case cases[] = {
        {"two empty", empty, empty, true},
        {"null is empty", fromNull, empty, true},
        {"empty and plain", empty, plain, false},
        {"same plain", plain, Delegate(&twice), true},
        {"other plain", plain, Delegate(&thrice), false},
        {"same member", member, Delegate(&Base::add, &one), true},
        {"other object", member, Delegate(&Base::add, &other), false},
        {"other member", member, Delegate(&Base::addConst, &one), false},
        {"member and plain", member, plain, false},
        {"same reuse", reuse16, Delegate(&Base::add, &one, 16), true},
        {"other number", reuse16, reuse17, false},
        {"reuse of another object", reuse16, Delegate(&Base::add, &other, 16), false},
        {"any matches 16", reuseAny, reuse16, true},
        {"any matches 0xFFFFFFFE", reuseAny, Delegate(&Base::add, &one, 0xFFFFFFFE), true},
        {"any matches any", reuseAny, reuseAny, true},
        {"any of another object", reuseAny, Delegate(&Base::add, &other, 16), false},
        {"any and member", reuseAny, member, false},
        {"reuse and member", reuse16, member, false},
        {"unused kinds", Delegate(&Base::add, &one, 3), Delegate(&Base::which, &other, 3), true},
        {"two unused kinds", Delegate(&Base::add, &one, 3), Delegate(&Base::add, &one, 4), false},
    };
    for (const Case& one_case : cases) {
        SCOPED_TRACE(one_case.name);
        EXPECT_EQ(one_case.a == one_case.b, one_case.equal);
        EXPECT_EQ(one_case.b == one_case.a, one_case.equal);
        EXPECT_EQ(one_case.a != one_case.b, !one_case.equal);
    }
    EXPECT_TRUE(fromNull.empty());
    EXPECT_TRUE(reuseAny.isReuseAny());
    EXPECT_FALSE(reuse16.isReuseAny());
}

TEST(Delegate, ReportsACallOfWhatCannotBeCalled) {
    Base base;
    const std::string type = typeid(Base*).name();
    struct Case {
        Delegate delegate;
        std::string number, type;
        bool empty;
    };
    const Case cases[] = {{Delegate(), "0", "(null)", true},
                          {Delegate(&Base::add, &base, 0), "3", type, false},
                          {Delegate(&Base::add, &base, 1), "3", type, false},
                          {Delegate(&Base::add, &base, 2), "3", type, false},
                          {Delegate(&Base::add, &base, 3), "3", type, false},
                          {Delegate(&Base::add, &base, 15), "15", type, false},
                          {Delegate(&Base::add, &base, 0xFFFFFFFF), "4294967295", type, false}};
    for (const Case& one : cases) {
        SCOPED_TRACE(one.number);
        EXPECT_EQ(one.delegate.empty(), one.empty);
        EXPECT_EQ(printed(0, [&] { EXPECT_EQ(one.delegate(1), 0); }),
                  "FUNCTION_FUNCTION::operator() invalid function type : " + one.number +
                      ", typeid : " + one.type + "\n");
    }
}

TEST(Delegate, TellsTheReuseNumberToItsCallee) {
    Base base;
    EXPECT_EQ(Delegate(&Base::reuse, &base, 20)(0), 20);
    EXPECT_EQ(getCurrentFunctionReuse(), 20U) << "it stays after the call";
    std::thread([&] {
        EXPECT_EQ(getCurrentFunctionReuse(), 0U);
        EXPECT_EQ(Delegate(&Base::reuse, &base, 21)(0), 21);
    }).join();
    EXPECT_EQ(Delegate(&Base::reuse, &base)(0), 20) << "a plain member call leaves it alone";
}

TEST(Delegate, AllocatesNothing) {
    Base base;
    int sum = 0;
    EXPECT_EQ(allocationsOf([&] {
                  Delegate empty;
                  Delegate plain(&twice);
                  Delegate member(&Base::add, &base);
                  Delegate reuse(&Base::add, &base, 16);
                  Delegate copy = member;
                  copy = reuse;
                  sum += plain(1) + member(1) + copy(1) + (copy == reuse) + empty.empty();
              }),
              0U);
    EXPECT_EQ(sum, 2 + 6 + 6 + 1 + 1);
}

}  // namespace
