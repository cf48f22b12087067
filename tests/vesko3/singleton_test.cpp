#include "vesko3/singleton.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "support/crowd.h"
#include "vesko/vesko3/error.h"

namespace {

using namespace Tovra::Vesko;
using Route = Detail::SingletonPlace::Route;

template <class T, Route route = Route::direct>
T* made() {
    return Detail::Singleton<T>::instance({"Sample::instance", route, "sample.cpp", 7});
}

struct FailsOnceAndIsSlow {
    FailsOnceAndIsSlow() {
        if (s_tries++ == 0) throw std::runtime_error("first");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    static inline std::atomic<int> s_tries{0};
};

TEST(Singleton, IsMadeOnceHoweverManyAskAtOnceAfterAFailedConstructor) {
    EXPECT_THROW(made<FailsOnceAndIsSlow>(), std::runtime_error);
    Tovra::Testing::together(4, [](int) { EXPECT_NE(made<FailsOnceAndIsSlow>(), nullptr); });
    EXPECT_EQ(FailsOnceAndIsSlow::s_tries, 2);
}

template <int number>
struct Numbered {
    ~Numbered() { std::fprintf(stderr, "%d ended, last error %d\n", number, getLastError()); }
};

struct Outer : Numbered<3> {
    Outer() { made<Numbered<2>>(); }
};

TEST(Singleton, EndsInTheReverseOrderOfCreationAndBeforeTheLastError) {
    const auto run = [] {
        made<Numbered<1>>(), made<Outer>();
        setLastError(77);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0),
                "^3 ended, last error 77\n2 ended, last error 77\n1 ended, last error 77\n$");
}

TEST(Singleton, SaysWhenItsExitHandlerIsRefusedAndStays) {
    const auto run = [] {
        ::dup2(2, 1);
        setPrintLogLevel(4);
        Detail::s_registerAtExit = [](void (*)()) { return 1; };
        if (made<Numbered<4>>() != made<Numbered<4>>()) std::_Exit(1);
        made<Numbered<5>, Route::filtered>();
        std::exit(0);
    };
    EXPECT_EXIT(
        run(), testing::ExitedWithCode(0),
        "\\[\\] \\[ver:\\] info .* sample.cpp:Sample::instance atexit failed, line : 7\n"
        ".*\\[Unknown\\] \\[ver:Unknown\\] info sample.cpp Sample::instance 7 .*, line : 7\n$");
}

}  // namespace
