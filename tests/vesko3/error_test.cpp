#include "vesko/vesko3/error.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "vesko/vesko3/log.h"
#include "vesko3/assert.h"

namespace {

using namespace Tovra::Vesko;

TEST(LastError, BelongsToItsThread) {
    EXPECT_EQ(getLastError(), 0);
    for (const int code : {1, -1, 0x1000000e, 0x7FFFFFFF, static_cast<int>(0x80000000), 0}) {
        setLastError(code);
        EXPECT_EQ(getLastError(), code);
    }
    setLastError(5);
    std::thread([] {
        EXPECT_EQ(getLastError(), 0);
        setLastError(6);
    }).join();
    EXPECT_EQ(getLastError(), 5);
}

TEST(ErrorMessages, AreKeptByCode) {
    EXPECT_STREQ(getErrMsg(100), "");
    setErrMsg(100, "first");
    EXPECT_STREQ(getErrMsg(100), "first");
    setErrMsg(100, "second");
    EXPECT_STREQ(getErrMsg(100), "second");
    EXPECT_STREQ(getErrMsg(101), "");

    setErrMsg(-1, nullptr);
    EXPECT_STREQ(getErrMsg(-1), "");
}

TEST(ErrorMessages, KeepTheirPlaceWhileOthersComeIn) {
    setErrMsg(200, "stays");
    const char* text = getErrMsg(200);
    for (int code = 201; code < 1200; ++code) setErrMsg(code, "another");
    EXPECT_EQ(getErrMsg(200), text);
    EXPECT_STREQ(text, "stays");
}

TEST(ErrorMessages, CrossTheInterfaceAsStrings) {
    setErrorMessage(-300, CString("from a string"));
    EXPECT_STREQ(getErrMsg(-300), "from a string");
    EXPECT_TRUE(getErrorMessage(-300) == "from a string");
    EXPECT_TRUE(getErrorMessage(-301).empty());
}

TEST(ErrorMessages, MayBeSetAndReadByManyThreads) {
    const auto work = [](int first) {
        for (int i = 0; i < 1000; ++i) {
            setErrMsg(first + i, std::to_string(first + i).c_str());
            EXPECT_EQ(getErrMsg(first + i), std::to_string(first + i));
        }
    };
    std::thread other(work, 10'000);
    work(20'000);
    other.join();
}

void failHere(int value) { VESKO_ASSERT(value == 1 && "told"); }

TEST(Assertion, ShowsExpressionFunctionAndPlaceInOrder) {
    failHere(1);
    EXPECT_EXIT(
        failHere(2), testing::KilledBySignal(SIGABRT),
        R"(^\*\*\*\*\* Internal Program Error - assertion \(value == 1 && "told"\) failed in )"
        R"(void .*failHere\(int\): tests/vesko3/error_test\.cpp\([0-9]+\))"
        "\n");
}

TEST(Assertion, PutsItsMessageBehindThePlace) {
    EXPECT_EXIT(
        VESKO_ASSERT_MESSAGE(false, "unreachable!"), testing::KilledBySignal(SIGABRT),
        R"(assertion \(false\) failed in .*: tests/vesko3/error_test\.cpp\([0-9]+\): unreachable!)"
        "\n");
}

TEST(Assertion, LogsItsEndAndRunsNoExitHandler) {
    // The log stands on standard output; the death test reads standard error.
    const auto fail = [] {
        std::atexit([] { std::fputs("exit handler\n", stderr); });
        setPrintLogLevel(4);
        ::dup2(2, 1);
        Detail::assertionFailed("e", "f", "g", 7);
    };
    EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT),
                "assertion \\(e\\) failed in f: g\\(7\\)\n.*custom_abort, line : [0-9]+\n$");
}

TEST(Assertion, LeavesTheOutputAloneWhenItsEndIsNotLogged) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "this sanitizer's own abort flushes every stream";
#endif
    const auto fail = [] {
        ::dup2(2, 1);
        std::fputs("unflushed", stdout);
        Detail::assertionFailed("e", "f", "g", 7);
    };
    EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT), "failed in f: g\\(7\\)\n$");
}

}  // namespace
