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
    for (const int code : {1, -1, 0x1000000e, 0x7FFFFFFF, static_cast<int>(0x80000000), 0, 5}) {
        setLastError(code);
        EXPECT_EQ(getLastError(), code);
    }
    std::thread([] {
        EXPECT_EQ(getLastError(), 0);
        setLastError(6);
    }).join();
    EXPECT_EQ(getLastError(), 5);
}

TEST(ErrorMessages, AreKeptByCodeAsTextsAndStringsWhileThreadsAddOthers) {
    EXPECT_TRUE(getErrorMessage(100).empty());
    setErrMsg(-300, "stays");
    const char* text = getErrMsg(-300);
    const auto work = [](int first) {
        for (int code = first; code < first + 10'000; ++code) {
            for (const char* message : {"", "first", "second"}) {
                if (code % 2 == 0) setErrMsg(code, message);
                if (code % 2 != 0) setErrorMessage(code, CString(message));
                EXPECT_STREQ(getErrMsg(code), message);
                EXPECT_TRUE(getErrorMessage(code) == message);
            }
        }
    };
    { const std::jthread other(work, 10'000), another(work, 20'000); }
    EXPECT_EQ(getErrMsg(-300), text);
    EXPECT_STREQ(text, "stays");
    setErrMsg(-300, nullptr);
    EXPECT_STREQ(getErrMsg(-300), "");
}

void failHere(int value) { VESKO_ASSERT(value == 1 && "told"); }

TEST(Assertion, ShowsExpressionFunctionPlaceAndMessageInOrder) {
    failHere(1);
    const testing::KilledBySignal aborted(SIGABRT);
    EXPECT_EXIT(
        failHere(2), aborted,
        R"(^\*{5} Internal Program Error - assertion \(value == 1 && "told"\) failed in void .*failHere)"
        R"(\(int\): tests/vesko3/error_test\.cpp\([0-9]+\))"
        "\n");
    EXPECT_EXIT(VESKO_ASSERT_MESSAGE(false, "unreachable!"), aborted,
                R"(\(false\) failed in .*: tests/vesko3/error_test\.cpp\([0-9]+\): unreachable!)"
                "\n");
}

// Death tests read standard error: what is flushed to standard output shows there, too.
void failUnder(int level) {
    std::atexit([] { std::fputs("exit handler\n", stderr); });
    setPrintLogLevel(level);
    ::dup2(2, 1);
    std::fputs("flushed ", stdout);
    Detail::assertionFailed("e", "f", "g", 7);
}

TEST(Assertion, FlushesTheOutputForItsRecordAloneAndRunsNoExitHandler) {
    const std::string told = "assertion \\(e\\) failed in f: g\\(7\\)\n";
    EXPECT_EXIT(failUnder(4), testing::KilledBySignal(SIGABRT),
                told + "flushed .*custom_abort, line : [0-9]+\n$");
#if !defined(__SANITIZE_THREAD__)  // whose own abort flushes every stream
    EXPECT_EXIT(failUnder(3), testing::KilledBySignal(SIGABRT), told + "$");
#endif
}

}  // namespace
