#include "vesko/vesko3/error.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "vesko/vesko3/log.h"
#include "vesko3/assert.h"

namespace {

using namespace Tovra::Vesko;

TEST(LastError, BelongsToItsThread) {
    setLastError(-5);
    std::thread([] {
        EXPECT_EQ(getLastError(), 0);
        setLastError(6);
    }).join();
    EXPECT_EQ(getLastError(), -5);
}

TEST(ErrorMessages, AreKeptByCodeAsTextsAndStringsWhileThreadsAddOthers) {
    setErrMsg(-300, "stays");
    const char* text = getErrMsg(-300);
    const auto work = [](int first) {
        for (int code = first; code < first + 10'000; ++code) {
            for (const char* message : {"", "first", "second"}) {
                code % 2 == 0 ? setErrMsg(code, message) : setErrorMessage(code, CString(message));
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

void failHere(int value) { VESKO_ASSERT_MESSAGE(value == 1 && "told", "unreachable!"); }

TEST(Assertion, ShowsExpressionFunctionPlaceAndMessageInOrder) {
    failHere(1);
    EXPECT_EXIT(
        failHere(2), testing::KilledBySignal(SIGABRT),
        R"(^\*{5} Internal Program Error - assertion \(value == 1 && "told"\) failed in void .*failHere)"
        R"(\(int\): tests/vesko3/error_test\.cpp\([0-9]+\): unreachable!)"
        "\n");
}

// Death tests read standard error: what is flushed to standard output shows there, too.
void failWithOutput() {
    std::atexit([] { std::fputs("exit handler\n", stderr); });
    setPrintLogLevel(4);
    ::dup2(2, 1);
    std::fputs("flushed ", stdout);
    Detail::assertionFailed("e", "f", "g", 7);
}

TEST(Assertion, FlushesTheOutputForItsRecordAndRunsNoExitHandler) {
    EXPECT_EXIT(
        failWithOutput(), testing::KilledBySignal(SIGABRT),
        "assertion \\(e\\) failed in f: g\\(7\\)\nflushed .*custom_abort, line : [0-9]+\n$");
}

}  // namespace
