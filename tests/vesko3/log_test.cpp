#include "vesko/vesko3/log.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cwchar>
#include <string>

#include "support/capture.h"
#include "vesko3/logmacros.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Tovra::Testing::records;

int filtered(int level) {
    return logFilter(level, "Unknown", "file", "function", 1, "Unknown", "<42>");
}

TEST(Log, PrintsUpToTheThreshold) {
    EXPECT_EQ(getPrintLogLevel(), 3) << "the default";
    constexpr int (*levelFunctions[])(const char*, ...) = {logFatal, logError, logWarn,
                                                           logInfo,  logTrace, logDebug};
    for (const int threshold : {-5, 0, 1, 2, 3, 4, 5, 6, 7, 1000}) {
        for (int level = 1; level <= 6; ++level) {
            SCOPED_TRACE(testing::Message() << level << " under " << threshold);
            const auto print = levelFunctions[level - 1];
            int lengths = 0;
            const auto both = [&] { lengths = print("<%d>", 42) * 10 + filtered(level); };
            EXPECT_EQ(printed(threshold, both), level <= threshold ? "<42><42>" : "");
            EXPECT_EQ(lengths, level <= threshold ? 44 : 0);
        }
    }
    for (const int level : {-1, 0, 7, 100})
        EXPECT_EQ(records(1000, [&] { EXPECT_EQ(filtered(level), 0); }), "") << level;
}

TEST(Log, KeepsWhatAFailedFormatWroteAndTheErrorNumberOfItsCaller) {
    constexpr auto noCharacter = static_cast<wint_t>(0x7FFFFFFF);
    for (const int width : {1, 9000}) {  // within the record and beyond it
        int length = -1;
        const std::string text = records(3, [&] {
            errno = ENOENT;
            length = logWarn("%s%*d%lc\n", "kept", width, 1, noCharacter);
            EXPECT_EQ(errno, ENOENT);
        });
        EXPECT_NE(text.find("kept"), std::string::npos);
        EXPECT_EQ(static_cast<std::size_t>(length), text.size());
        const std::string next = records(3, [] { logWarn("\n"); });
        EXPECT_EQ(next == "\n", width == 1) << "only a line that was cut is closed";
    }
}

TEST(LogMacros, NameTheirPlaceButNoModule) {
    const std::string text = records(3, [] { VESKO_FILTERED(warn, "x\n"); });
    EXPECT_NE(text.find("[Unknown] [ver:Unknown] warn log_test.cpp "), std::string::npos);
    EXPECT_NE(text.find("TestBody " + std::to_string(__LINE__ - 2)), std::string::npos);
}

struct Speaker {
    void say() const {
        VESKO_FILTERED_OBJECT(warn, "object %d\n", 1);
        VESKO_DIRECT_THREAD(logWarn, "thread\n");
    }
    static constexpr int line = __LINE__ - 3;
};

TEST(LogMacros, PutThePlaceBeforeTheMessage) {
    const Speaker speaker;
    const auto place = [](int offset) {
        return "[tests/vesko3/log_test.cpp:" + std::to_string(Speaker::line + offset) + "] ";
    };
    char object[32];
    std::snprintf(object, sizeof(object), "this:%p ", static_cast<const void*>(&speaker));
    const auto thread = "tid:" + std::to_string(Tovra::Platform::GetCurrentThreadId()) + ", ";
    EXPECT_EQ(printed(3, [&] { speaker.say(); }),
              place(0) + object + thread + "object 1\n" + place(1) + thread + "thread\n");
}

TEST(LogMacros, NameTheFunctionWithoutResultAndParameters) {
    // As the compilers spell them.
    using Detail::QualifiedName;
    EXPECT_STREQ(QualifiedName("char* const& {anonymous}::f(int)").text(), "{anonymous}::f");
    EXPECT_STREQ(QualifiedName("char *const &(anonymous namespace)::plain(int, char *)").text(),
                 "(anonymous namespace)::plain");
    EXPECT_STREQ(QualifiedName("void (*a::find(const char *))(int)").text(), "a::find");
    EXPECT_STREQ(QualifiedName("static char *Box<void (int)>::where() [T = void (int)]").text(),
                 "Box<void (int)>::where");
    EXPECT_STREQ(QualifiedName("A<T>* A<T>::operator()(void (*)(int)) const").text(),
                 "A<T>::operator()");
}

}  // namespace
