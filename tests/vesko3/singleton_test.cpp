#include "vesko3/singleton.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/filesystem.h"

namespace {

using namespace Tovra::Vesko;
using Detail::Singleton;
using Detail::SingletonPlace;
using Tovra::Testing::printed;

constexpr SingletonPlace place(SingletonPlace::Route route = SingletonPlace::Route::direct) {
    return {"Sample::instance", route, "sample.cpp", 7};
}

struct Slow {
    Slow() {
        ++s_made;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    static inline std::atomic<int> s_made{0};
};

TEST(Singleton, IsMadeOnceHoweverManyAskAtOnce) {
    Slow* seen[4] = {};
    std::vector<std::thread> threads;
    for (Slow*& one : seen) {
        threads.emplace_back([&one] { one = Singleton<Slow>::instance(place()); });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(Slow::s_made, 1);
    for (const Slow* one : seen) EXPECT_EQ(one, seen[0]);
}

struct FailsOnce {
    FailsOnce() {
        if (s_tries++ == 0) throw std::runtime_error("first");
    }
    static inline int s_tries = 0;
};

TEST(Singleton, IsTriedAgainAfterAFailedConstructor) {
    EXPECT_THROW(Singleton<FailsOnce>::instance(place()), std::runtime_error);
    EXPECT_NE(Singleton<FailsOnce>::instance(place()), nullptr);
    EXPECT_EQ(FailsOnce::s_tries, 2);
}

template <int number>
struct Numbered {
    ~Numbered() { std::fprintf(stderr, "%d ended\n", number); }
};

struct Outer {
    Outer() { Singleton<Numbered<2>>::instance(place()); }
    ~Outer() { std::fputs("outer ended\n", stderr); }
};

TEST(Singleton, EndsInTheReverseOrderOfCreation) {
    const auto run = [] {
        Singleton<Numbered<1>>::instance(place());
        Singleton<Outer>::instance(place());
        Singleton<Numbered<3>>::instance(place());
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^3 ended\nouter ended\n2 ended\n1 ended\n$");
}

template <SingletonPlace::Route route>
struct Stays {};

TEST(Singleton, SaysWhenItsExitHandlerIsRefusedAndStays) {
    Detail::s_registerAtExit = [](void (*)()) { return 1; };
    using Route = SingletonPlace::Route;
    const std::string direct = printed(4, [] {
        auto* made = Singleton<Stays<Route::direct>>::instance(place());
        EXPECT_EQ(Singleton<Stays<Route::direct>>::instance(place()), made);
        delete made;  // nobody else will
    });
    const std::string filtered = printed(
        4, [] { delete Singleton<Stays<Route::filtered>>::instance(place(Route::filtered)); });
    Detail::s_registerAtExit = &std::atexit;
    const std::string message = "sample.cpp:Sample::instance atexit failed, line : 7\n";
    EXPECT_NE(direct.find(message), std::string::npos) << direct;
    EXPECT_NE(filtered.find(message), std::string::npos) << filtered;
}

TEST(Singleton, NamesTheLibrarysOwnWhenTheirHandlersAreRefused) {
    const auto run = [] {
        ::dup2(2, 1);
        setPrintLogLevel(4);
        Detail::s_registerAtExit = [](void (*)()) { return 1; };
        getErrMsg(1);
        FileDefaultOpt::instance();
        std::fflush(stdout);
        std::_Exit(0);
    };
    EXPECT_EXIT(
        run(), testing::ExitedWithCode(0),
        "\\[\\] \\[ver:\\] info .*src/vesko3/error.cpp:`anonymous-namespace'"
        "::CErrorMessageManager::instance atexit failed, line : [0-9]+\n"
        ".*src/vesko3/filesystem.cpp:Tovra::Vesko::FileDefaultOpt::instance atexit failed, ");
}

// The last error of the thread that exits can be read to the very end.
struct ReadsLastError {
    ~ReadsLastError() { std::fprintf(stderr, "last error %d\n", getLastError()); }
};

TEST(Singleton, FindsTheLastErrorAliveAsItEnds) {
    const auto run = [] {
        Singleton<ReadsLastError>::instance(place());
        setLastError(77);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "last error 77\n");
}

}  // namespace
