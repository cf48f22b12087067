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

struct FailsOnceAndIsSlow {
    FailsOnceAndIsSlow() {
        if (s_tries++ == 0) throw std::runtime_error("first");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    static inline std::atomic<int> s_tries{0};
};

TEST(Singleton, IsMadeOnceHoweverManyAskAtOnceAfterAFailedConstructor) {
    using Tested = Singleton<FailsOnceAndIsSlow>;
    EXPECT_THROW(Tested::instance(place()), std::runtime_error);
    FailsOnceAndIsSlow* seen[4] = {};
    std::vector<std::thread> threads;
    for (auto& one : seen) threads.emplace_back([&one] { one = Tested::instance(place()); });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(FailsOnceAndIsSlow::s_tries, 2);
    for (const auto* one : seen) EXPECT_TRUE(one != nullptr && one == seen[0]);
}

// The last error of the thread that exits can be read to the very end.
template <int number>
struct Numbered {
    ~Numbered() { std::fprintf(stderr, "%d ended, last error %d\n", number, getLastError()); }
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
        setLastError(77);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0),
                "^3 ended, last error 77\nouter ended\n"
                "2 ended, last error 77\n1 ended, last error 77\n$");
}

struct StaysDirect {};
struct StaysFiltered {};

TEST(Singleton, SaysWhenItsExitHandlerIsRefusedAndStays) {
    Detail::s_registerAtExit = [](void (*)()) { return 1; };
    const std::string told = printed(4, [] {
        auto* made = Singleton<StaysDirect>::instance(place());
        EXPECT_EQ(Singleton<StaysDirect>::instance(place()), made);
        delete made;  // nobody else will
        delete Singleton<StaysFiltered>::instance(place(SingletonPlace::Route::filtered));
    });
    Detail::s_registerAtExit = &std::atexit;
    const std::string message = "sample.cpp:Sample::instance atexit failed, line : 7\n";
    EXPECT_EQ(told, message + message);
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

}  // namespace
