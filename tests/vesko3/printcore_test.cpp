#include "vesko3/printcore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/thread.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::allocationsOf;
using Tovra::Testing::records;
namespace Platform = Tovra::Platform;

const Platform::ClockTable s_noon = [] {
    Platform::ClockTable table = Platform::s_systemClock;
    table.GetLocalTime = [] { return Platform::SYSTEMTIME{2024, 3, 2, 5, 12, 0, 0, 5}; };
    return table;
}();

std::string tid() { return std::to_string(Platform::GetCurrentThreadId()); }

/// Noon on 5 March 2024, default options, a new line; and all that is back at the end of each test.
class PrintCore : public testing::Test {
protected:
    PrintCore() : m_systemClock(Platform::replaceClock(&s_noon)) {}
    ~PrintCore() override {
        Platform::replaceClock(m_systemClock);
        setPrintOptions({});
        EXPECT_GT(records(3, [] { logWarn("\n"); }).size(), 1U) << "the test left a line open";
    }

    void TearDown() override { setLogPrinter({}); }

    const Platform::ClockTable* m_systemClock;
};

PrintOptions with(std::initializer_list<unsigned char PrintOptions::*> fields) {
    PrintOptions options{};
    for (const auto field : fields) options.*field = 1;
    return options;
}

int filtered(const char* module, const char* file, const char* function, int line,
             const char* version) {
    return logFilter(3, module, file, function, line, version, "x\n");
}

TEST_F(PrintCore, PutsTheToldHeaderBeforeTheMessage) {
    using P = PrintOptions;
    const auto filter = [] { filtered("Unknown", "src/a/thread", "F", 123, "Unknown"); };
    const auto placeless = [] { filtered(nullptr, nullptr, nullptr, 0, nullptr); };
    const auto warn = [] { logWarn("x\n"); };
    const auto library = [] { logLibName(4, "net", "x\n"); };
    struct Case {
        const char* name;
        PrintOptions options;
        void (*print)();
        std::string text;
    };
    const Case cases[] = {
        {"filter",
         {},
         filter,
         "12:00:00|[Unknown] [ver:Unknown] warn thread F 123 tid:" + tid() + " x\n"},
        {"nulls", {}, placeless, "12:00:00|[] [ver:] warn  tid:" + tid() + " x\n"},
        {"level function", {}, warn, "12:00:00|[] [ver:] warn   tid:" + tid() + " x\n"},
        {"library", {}, library, "12:00:00|[net] [ver:] info  tid:" + tid() + " x\n"},
        {"tagged", with({&P::tagged, &P::withDate}), filter,
         "|T:2024-03-05 12:00:00|M:Unknown|V:Unknown|L:warn |F:thread|f:F|l:123|t:" + tid() +
             "|m:x\n"},
        {"tagged function", with({&P::tagged}), warn,
         "|T:12:00:00|M:|V:|L:warn  |f:|t:" + tid() + "|m:x\n"},
        {"milliseconds", with({&P::withMilliseconds, &P::noThread}), library,
         "12:00:00:  5|[net] [ver:] info  x\n"},
        {"date alone", with({&P::withDate, &P::noTime, &P::noThread}), library,
         "2024-03-05 [net] [ver:] info  x\n"},
        {"no file", with({&P::noFile, &P::noThread}), filter,
         "12:00:00|[Unknown] [ver:Unknown] warn F 123 x\n"},
        {"no line", with({&P::noLine, &P::noThread}), filter,
         "12:00:00|[Unknown] [ver:Unknown] warn thread F x\n"},
        {"bare",
         with({&P::noTime, &P::noModule, &P::noVersion, &P::noLevel, &P::noFunction, &P::noThread}),
         warn, "x\n"},
        {"tagged bare",
         with({&P::tagged, &P::noTime, &P::noModule, &P::noVersion, &P::noLevel, &P::noFunction,
               &P::noThread}),
         warn, "|T:m:x\n"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        setPrintOptions(one.options);
        EXPECT_EQ(records(6, one.print), one.text);
    }
}

TEST_F(PrintCore, GivesEachLevelItsText) {
    setPrintOptions(with({&PrintOptions::noTime, &PrintOptions::noModule, &PrintOptions::noVersion,
                          &PrintOptions::noFunction, &PrintOptions::noThread}));
    EXPECT_EQ(records(6,
                      [] {
                          logFatal("\n"), logError("\n"), logWarn("\n");
                          logInfo("\n"), logTrace("\n"), logDebug("\n");
                          for (int level = 0; level <= 7; ++level) logLibName(level, "", "\n");
                          for (int level = 1; level <= 6; ++level) {
                              logFilter(level, "", "", "", 0, "", "\n");
                          }
                      }),
              "fatal \nerror \nwarn  \ninfo  \ntrace \ndebug \n"
              "fatal \nerror \nwarn \ninfo \ntrace \ndebug \n"
              "fatal \nerror \nwarn \ninfo \ntrace \ndebug \n");
}

TEST_F(PrintCore, HandsTheWholeOptionsBack) {
    PrintOptions options{};
    auto* bytes = reinterpret_cast<unsigned char*>(&options);
    for (std::size_t i = 0; i < sizeof(options); ++i) bytes[i] = static_cast<unsigned char>(i + 2);
    setPrintOptions(options);
    PrintOptions read{};
    EXPECT_EQ(getPrintOptions(&read), 0);
    EXPECT_EQ(std::memcmp(&options, &read, sizeof(options)), 0);
    static_assert(sizeof(PrintOptions) == 32);
}

TEST_F(PrintCore, ContinuesAnOpenLineWithoutAHeader) {
    setPrintOptions(with({&PrintOptions::noThread}));
    const std::string header = "12:00:00|[] [ver:] warn   ";
    EXPECT_EQ(records(4,
                      [] {
                          logWarn("abc");
                          std::thread([] { logLibName(4, "net", " %d", 1); }).join();
                          logWarn("%s", "");
                          EXPECT_EQ(logWarn("def\n"), 4);
                          logWarn("next\n");
                      }),
              header + "abc 1def\n" + header + "next\n");
}

TEST_F(PrintCore, ClosesALineThatWasCutAndNotOneThatJustFits) {
    setPrintOptions(with({&PrintOptions::noThread}));
    const std::string header = "12:00:00|[] [ver:] warn   ";
    struct Case {
        std::size_t length;
        bool closes;
    };
    for (const auto& [length, closes] : {Case{10'000, true}, Case{8191 - header.size() + 1, true},
                                         Case{8191 - header.size(), false}}) {
        SCOPED_TRACE(length);
        const std::string message(length, 'm');
        const std::string text = records(3, [&] {
            EXPECT_EQ(logWarn("%s", message.c_str()), 8191);
            logWarn("\n");
        });
        EXPECT_EQ(text, (header + message).substr(0, 8191) + (closes ? header : "") + "\n");
    }
}

/// Collects what a printer or a print proc gets.
struct Collector {
    void print(const char* text) { seen += text; }
    bool proc(const char* text) {
        seen += text;
        return false;
    }
    bool detachItself(const char* text) {
        seen += text;
        return detachPrint(TFunction1<bool, const char*>(&Collector::detachItself, this));
    }
    std::string seen;
};

TEST_F(PrintCore, GivesRecordsToThePrinterInsteadAndToEveryProcInOrder) {
    setPrintOptions(with({&PrintOptions::noThread}));
    Collector printer;
    Collector procs;
    Collector once;
    const TFunction1<bool, const char*> proc(&Collector::proc, &procs);
    const TFunction1<bool, const char*> itself(&Collector::detachItself, &once);
    EXPECT_TRUE(attachPrint(proc));
    EXPECT_FALSE(attachPrint(proc));
    EXPECT_TRUE(attachPrint(itself));
    EXPECT_EQ(setLogPrinter(TFunction1<void, const char*>(&Collector::print, &printer)), 0);
    EXPECT_EQ(records(3, [] { logWarn("1\n"), logWarn("2\n"); }), "");
    EXPECT_EQ(setLogPrinter({}), 0);
    const std::string header = "12:00:00|[] [ver:] warn   ";
    EXPECT_EQ(printer.seen, header + "1\n" + header + "2\n");
    EXPECT_EQ(procs.seen, printer.seen) << "a false result detaches nothing";
    EXPECT_EQ(once.seen, header + "1\n");
    EXPECT_FALSE(detachPrint(itself));
    EXPECT_TRUE(detachPrint(proc));
    EXPECT_FALSE(detachPrint(proc));
    EXPECT_EQ(records(3, [] { logWarn("3\n"); }), header + "3\n");
}

TEST_F(PrintCore, UsesNoHeapForARecord) {
    records(3, [] { logWarn("the stream takes its buffer here\n"); });
    std::size_t allocations = 1;
    records(3, [&] {
        allocations = allocationsOf([] { logWarn("%s %d\n", "passes", 1), logInfo("does not\n"); });
    });
    EXPECT_EQ(allocations, 0U);
}

TEST_F(PrintCore, DumpsBytesInRows) {
    setPrintOptions(
        with({&PrintOptions::noTime, &PrintOptions::noModule, &PrintOptions::noVersion,
              &PrintOptions::noLevel, &PrintOptions::noFunction, &PrintOptions::noThread}));
    unsigned char bytes[528];
    for (std::size_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<unsigned char>(i + 112);
    const auto address = [&](std::size_t offset) {
        char text[32];
        std::snprintf(text, sizeof(text), "%p: ", static_cast<void*>(bytes + offset));
        return std::string(text);
    };
    const std::string first =
        address(0) + "70 71 72 73 74 75 76 77 78 79 7a 7b 7c 7d 7e 7f   pqrstuvwxyz.....\n\n";
    EXPECT_EQ(records(5, [&] { dumpHex(bytes, 16); }), first);
    EXPECT_EQ(records(5, [&] { dumpHex(bytes, 18); }),
              first + address(16) + "80 81 " + std::string(14 * 3, ' ') + "  ..\n");
    EXPECT_EQ(records(4, [&] { dumpHex(bytes, 18); }), "");
    EXPECT_EQ(records(5, [&] { dumpHex(bytes, 0), dumpHex(nullptr, 5); }), "");
    const std::string whole = records(5, [&] { dumpHex(bytes, sizeof(bytes)); });
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 33 + 2);
    EXPECT_EQ(whole.substr(whole.size() - 2), "\n\n") << "row 512 has an empty line behind it";
}

TEST_F(PrintCore, TakesSettingsWhileOtherThreadsPrint) {
    struct Counter {
        bool count(const char*) { return ++records > 0; }
        void swallow(const char*) { ++records; }
        std::atomic<int> records{0};
    } counter;
    setLogPrinter(TFunction1<void, const char*>(&Counter::swallow, &counter));
    std::atomic<bool> stop{false};
    std::vector<std::thread> printers;
    for (int i = 0; i < 2; ++i) {
        printers.emplace_back([&] {
            while (!stop) logFilter(3, "net", "f", "F", 1, "v", "record %d\n", 1);
        });
    }
    char module[] = "-logmodule";
    char net[] = "net";
    char on[] = "on";
    char* const command[] = {module, net, on};
    for (int i = 0; i < 300; ++i) {
        setPrintOptions(with({&PrintOptions::tagged}));
        setLogFilter(3, command);
        attachPrint(TFunction1<bool, const char*>(&Counter::count, &counter));
        setLogPrinter(TFunction1<void, const char*>(&Counter::swallow, &counter));
        detachPrint(TFunction1<bool, const char*>(&Counter::count, &counter));
        logCleanup();
    }
    while (counter.records < 300) std::this_thread::yield();
    stop = true;
    for (auto& printer : printers) printer.join();
    setLogPrinter({});
}

}  // namespace
