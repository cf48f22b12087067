#include "vesko3/singleton.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "vesko/vesko3/error.h"
#include "vesko/vesko3/filesystem.h"

namespace {

using namespace Tovra::Vesko;
using Detail::Singleton;
using Detail::SingletonPlace;

using Route = SingletonPlace::Route;
template <class T, Route route = Route::direct>
T* made() {
    return Singleton<T>::instance({"Sample::instance", route, "sample.cpp", 7});
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
    FailsOnceAndIsSlow* seen[4] = {};
    std::vector<std::jthread> threads;
    for (auto& one : seen) threads.emplace_back([&one] { one = made<FailsOnceAndIsSlow>(); });
    threads.clear();
    EXPECT_EQ(FailsOnceAndIsSlow::s_tries, 2);
    for (const auto* one : seen) EXPECT_TRUE(one != nullptr && one == seen[0]);
}

// The last error of the thread that exits can be read to the very end.
template <int number>
struct Numbered {
    ~Numbered() { std::fprintf(stderr, "%d ended, last error %d\n", number, getLastError()); }
};

struct Outer {
    Outer() { made<Numbered<2>>(); }
    ~Outer() { std::fputs("outer ended\n", stderr); }
};

TEST(Singleton, EndsInTheReverseOrderOfCreation) {
    const auto run = [] {
        made<Numbered<1>>(), made<Outer>(), made<Numbered<3>>();
        setLastError(77);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0),
                "^3 ended, last error 77\nouter ended\n"
                "2 ended, last error 77\n1 ended, last error 77\n$");
}

TEST(Singleton, SaysWhenItsExitHandlerIsRefusedAndStays) {
    const auto run = [] {
        ::dup2(2, 1);
        setPrintLogLevel(4);
        Detail::s_registerAtExit = [](void (*)()) { return 1; };
        const auto* stays = made<Numbered<4>>();
        if (made<Numbered<4>>() != stays) std::_Exit(1);
        made<Numbered<5>, Route::filtered>();
        getErrMsg(1);
        FileDefaultOpt::instance();
        std::exit(0);
    };
    EXPECT_EXIT(
        run(), testing::ExitedWithCode(0),
        "^.*\\[\\] \\[ver:\\] info .* sample.cpp:Sample::instance atexit failed, line : 7\n"
        ".*\\[Unknown\\] \\[ver:Unknown\\] info sample.cpp Sample::instance 7 .*, line : 7\n"
        ".*src/vesko3/error.cpp:`anonymous-namespace'::CErrorMessageManager::instance atexit .*\n"
        ".*src/vesko3/filesystem.cpp:Tovra::Vesko::FileDefaultOpt::instance atexit [^\n]*\n$");
}

}  // namespace
