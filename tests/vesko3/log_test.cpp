#include "vesko/vesko3/log.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "support/capture.h"
#include "vesko3/logmacros.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::records;

struct LevelFunction {
    int level;
    int (*print)(const char*, ...);
    int (*globalPrint)(const char*, ...);
};
constexpr LevelFunction levelFunctions[] = {
    {1, &logFatal, &::logFatal}, {2, &logError, &::logError}, {3, &logWarn, &::logWarn},
    {4, &logInfo, &::logInfo},   {5, &logTrace, &::logTrace}, {6, &logDebug, &::logDebug}};

int filtered(int level, const char* text) {
    return logFilter(level, "Unknown", "file", "function", 1, "Unknown", "%s", text);
}

TEST(Log, PassesFatalErrorAndWarnByDefault) { EXPECT_EQ(getPrintLogLevel(), 3); }

TEST(Log, PrintsUpToTheThreshold) {
    for (const int threshold : {-5, 0, 1, 2, 3, 4, 5, 6, 7, 1000}) {
        for (const LevelFunction& function : levelFunctions) {
            SCOPED_TRACE(testing::Message() << function.level << " under " << threshold);
            EXPECT_EQ(function.print, function.globalPrint);
            const bool passes = function.level <= threshold;
            int lengths[2] = {-1, -1};
            const std::string text = records(threshold, [&] {
                lengths[0] = function.print("<%d>", 42);
                lengths[1] = filtered(function.level, "<42>");
            });
            EXPECT_EQ(lengths[0] > 0, passes);
            EXPECT_EQ(lengths[1] > 0, passes);
            EXPECT_EQ(text.find("<42>") != std::string::npos, passes);
            EXPECT_EQ(text.size(), static_cast<std::size_t>(lengths[0] + lengths[1]));
        }
    }
}

TEST(Log, KeepsWhatAFailedFormatWrote) {
    int length = -1;
    volatile int width = INT_MAX;  // where the compiler cannot see it
    const std::string text = records(3, [&] { length = logWarn("%s%*d\n", "kept", width, 1); });
    EXPECT_NE(text.find("kept"), std::string::npos);
    EXPECT_EQ(static_cast<std::size_t>(length), text.size());
    records(3, [] { logWarn("\n"); });  // its line may have stayed open
}

TEST(Log, FilteredRecordsHaveLevelsOneToSix) {
    for (const int level : {-1, 0, 7, 100}) {
        SCOPED_TRACE(level);
        EXPECT_EQ(records(1000, [&] { EXPECT_EQ(filtered(level, "x\n"), 0); }), "");
    }
}

struct Speaker {
    void say() const { VESKO_FILTERED_OBJECT(warn, "object %d\n", 1); }
    void sayDirectly() const { VESKO_DIRECT_OBJECT(logWarn, "object\n"); }
};

TEST(LogMacros, PutThePlaceBeforeTheMessage) {
    const Speaker speaker;
    char object[64];
    std::snprintf(object, sizeof(object), "this:%p tid:", static_cast<const void*>(&speaker));
    const std::string here = "[tests/vesko3/log_test.cpp:";
    const auto expectPrefix = [&](const std::string& text, const std::string& middle,
                                  const std::string& end) {
        SCOPED_TRACE(text);
        EXPECT_NE(text.find(here), std::string::npos);
        EXPECT_NE(text.find("] " + middle), std::string::npos);
        EXPECT_NE(text.find(", " + end), std::string::npos);
    };
    expectPrefix(records(3, [&] { speaker.say(); }), object, "object 1\n");
    expectPrefix(records(3, [&] { speaker.sayDirectly(); }), object, "object\n");
    expectPrefix(records(3, [] { VESKO_FILTERED_THREAD(error, "thread %s\n", "x"); }),
                 "tid:" + std::to_string(Tovra::Platform::GetCurrentThreadId()), "thread x\n");
    expectPrefix(records(3, [] { VESKO_DIRECT_THREAD(logWarn, "thread\n"); }), "tid:", "thread\n");
}

namespace sample {
template <class T>
struct Box {
    static const char* where() {
        static constexpr Detail::QualifiedName s_here(__PRETTY_FUNCTION__);
        return s_here.text();
    }
    const Box* operator()(void (*)(int)) const {
        static constexpr Detail::QualifiedName s_here(__PRETTY_FUNCTION__);
        m_where = s_here.text();
        return this;
    }
    mutable std::string m_where;
};
const char* const& plain(int, const char*) {
    static constexpr Detail::QualifiedName s_here(__PRETTY_FUNCTION__);
    static const char* const s_text = s_here.text();
    return s_text;
}
}  // namespace sample

TEST(LogMacros, NameTheFunctionWithoutResultAndParameters) {
    const auto endsWith = [](const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
    };
    EXPECT_TRUE(endsWith(sample::plain(0, ""), "::sample::plain")) << sample::plain(0, "");
    EXPECT_EQ(std::string(sample::plain(0, "")).find("char"), std::string::npos);
    const std::string where = sample::Box<std::string>::where();
    EXPECT_NE(where.find("::where"), std::string::npos) << where;
    const sample::Box<int> box;
    box(nullptr);
    EXPECT_TRUE(endsWith(box.m_where, "::operator()")) << box.m_where;
}

}  // namespace
