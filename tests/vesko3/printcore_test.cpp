#include "vesko3/printcore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "platform/thread.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "support/manualclock.h"
#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::allocationsOf;
using Tovra::Testing::printed;
using Tovra::Testing::records;

/// Noon on 5 March 2024, default options, a new line; and all that is back at the end of each test.
class PrintCore : public testing::Test {
protected:
    PrintCore() { m_clock.local({2024, 3, 2, 5, 12, 0, 0, 5}); }
    ~PrintCore() override {
        setLogPrinter({});
        setPrintOptions({});
        EXPECT_GT(records(3, [] { logWarn("\n"); }).size(), 1U) << "the test left a line open";
    }

    Tovra::Testing::ManualClock m_clock;
};

using P = PrintOptions;

PrintOptions with(std::initializer_list<unsigned char P::*> fields) {
    PrintOptions options{};
    for (const auto field : fields) options.*field = 1;
    return options;
}

const std::string s_header = "12:00:00|[] [ver:] warn   ";  // of logWarn without the thread

TEST_F(PrintCore, PutsTheToldHeaderBeforeTheMessage) {
    const auto filter = [] { logFilter(3, "Unknown", "src/a/thread", "F", 123, "Unknown", "x\n"); };
    const auto nulls = [] { logFilter(3, nullptr, nullptr, nullptr, 0, nullptr, "x\n"); };
    const auto warn = [] { logWarn("x\n"); };
    const auto library = [] { logLibName(4, "net", "x\n"); };
    const std::string id = std::to_string(Tovra::Platform::GetCurrentThreadId());
    const std::string tid = "tid:" + id + " x\n";
    const std::string tagged = "|t:" + id + "|m:x\n";
    struct Case {
        P options;
        void (*print)();
        std::string text;
    };
    const Case cases[] = {
        {{}, filter, "12:00:00|[Unknown] [ver:Unknown] warn thread F 123 " + tid},
        {{}, nulls, "12:00:00|[] [ver:] warn  " + tid},
        {{}, warn, s_header + tid},
        {{}, library, "12:00:00|[net] [ver:] info  " + tid},
        {with({&P::tagged, &P::withDate}), filter,
         "|T:2024-03-05 12:00:00|M:Unknown|V:Unknown|L:warn |F:thread|f:F|l:123" + tagged},
        {with({&P::tagged}), warn, "|T:12:00:00|M:|V:|L:warn  |f:" + tagged},
        {with({&P::withMilliseconds}), library, "12:00:00:  5|[net] [ver:] info  " + tid},
        {with({&P::withDate, &P::noTime}), library, "2024-03-05 [net] [ver:] info  " + tid},
        {with({&P::noFile}), filter, "12:00:00|[Unknown] [ver:Unknown] warn F 123 " + tid},
        {with({&P::noLine}), filter, "12:00:00|[Unknown] [ver:Unknown] warn thread F " + tid},
        {with({&P::noTime, &P::noModule, &P::noVersion, &P::noLevel, &P::noFunction, &P::noThread}),
         warn, "x\n"},
        {with({&P::tagged, &P::noTime, &P::noModule, &P::noVersion, &P::noLevel, &P::noFunction}),
         warn, "|T:" + tagged.substr(1)}};
    for (const auto& [options, print, text] : cases) {
        setPrintOptions(options);
        EXPECT_EQ(records(6, print), text);
    }
}

TEST_F(PrintCore, GivesEachLevelItsText) {
    setPrintOptions(with({&P::noTime, &P::noModule, &P::noVersion, &P::noFunction, &P::noThread}));
    const std::string shortTexts = "fatal \nerror \nwarn \ninfo \ntrace \ndebug \n";
    EXPECT_EQ(records(6,
                      [] {
                          logFatal("\n"), logError("\n"), logWarn("\n");
                          logInfo("\n"), logTrace("\n"), logDebug("\n");
                          for (int level = 0; level <= 7; ++level) logLibName(level, "", "\n");
                          for (int level = 1; level <= 6; ++level) {
                              logFilter(level, "", "", "", 0, "", "\n");
                          }
                      }),
              "fatal \nerror \nwarn  \ninfo  \ntrace \ndebug \n" + shortTexts + shortTexts);
}

TEST_F(PrintCore, HandsTheWholeOptionsBack) {
    PrintOptions options{};
    auto* bytes = reinterpret_cast<unsigned char*>(&options);
    static_assert(sizeof(options) == 32);
    for (std::size_t i = 0; i < sizeof(options); ++i) bytes[i] = static_cast<unsigned char>(i + 2);
    setPrintOptions(options);
    PrintOptions read{};
    EXPECT_EQ(getPrintOptions(&read), 0);
    EXPECT_EQ(std::memcmp(&options, &read, sizeof(options)), 0);
}

TEST_F(PrintCore, ContinuesAnOpenLineWithoutAHeader) {
    setPrintOptions(with({&P::noThread}));
    EXPECT_EQ(records(4,
                      [] {
                          logWarn("abc");
                          std::thread([] { logLibName(4, "net", " %d", 1); }).join();
                          logWarn("%s", "");
                          EXPECT_EQ(logWarn("def\n"), 4);
                          logWarn("next\n");
                      }),
              s_header + "abc 1def\n" + s_header + "next\n");
}

TEST_F(PrintCore, ClosesALineThatWasCutAndNotOneThatJustFits) {
    setPrintOptions(with({&P::noThread}));
    const std::size_t fits = 8191 - s_header.size();
    for (const std::size_t length : {std::size_t{10'000}, fits + 1, fits}) {
        const std::string message(length, 'm');
        const std::string text = records(3, [&] {
            EXPECT_EQ(logWarn("%s", message.c_str()), 8191);
            logWarn("\n");
        });
        const std::string next = length > fits ? s_header + "\n" : "\n";
        EXPECT_EQ(text, (s_header + message).substr(0, 8191) + next) << length;
    }
}

/// Collects what a printer or a print proc gets.
struct Collector {
    void print(const char* text) { seen += text; }
    bool proc(const char* text) { return seen += text, false; }
    bool detachItself(const char* text) {
        seen += text;
        return detachPrint(TFunction1<bool, const char*>(&Collector::detachItself, this));
    }
    std::string seen;
};

TEST_F(PrintCore, GivesRecordsToThePrinterInsteadAndToEveryProcInOrder) {
    setPrintOptions(with({&P::noThread}));
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
    EXPECT_EQ(printer.seen, s_header + "1\n" + s_header + "2\n");
    EXPECT_EQ(procs.seen, printer.seen) << "a false result detaches nothing";
    EXPECT_EQ(once.seen, s_header + "1\n");
    EXPECT_FALSE(detachPrint(itself));
    EXPECT_TRUE(detachPrint(proc));
    EXPECT_FALSE(detachPrint(proc));
    EXPECT_EQ(records(3, [] { logWarn("3\n"); }), s_header + "3\n");
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
    unsigned char bytes[528];
    for (std::size_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<unsigned char>(i + 112);
    const auto dump = [](int level, unsigned char* data, unsigned int length) {
        return printed(level, [&] { dumpHex(data, length); });
    };
    char addresses[2][32];
    std::snprintf(addresses[0], sizeof(addresses[0]), "%p: ", static_cast<void*>(bytes));
    std::snprintf(addresses[1], sizeof(addresses[1]), "%p: ", static_cast<void*>(bytes + 16));
    const std::string first =
        std::string(addresses[0]) +
        "70 71 72 73 74 75 76 77 78 79 7a 7b 7c 7d 7e 7f   pqrstuvwxyz.....\n\n";
    EXPECT_EQ(dump(5, bytes, 16), first);
    EXPECT_EQ(dump(5, bytes, 18),
              first + addresses[1] + "80 81 " + std::string(14 * 3, ' ') + "  ..\n");
    EXPECT_EQ(dump(4, bytes, 18) + dump(5, bytes, 0) + dump(5, nullptr, 5), "");
    const std::string whole = dump(5, bytes, sizeof(bytes));
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 33 + 2);
    EXPECT_TRUE(whole.ends_with("\n\n")) << "row 512 has an empty line behind it";
}

TEST_F(PrintCore, TakesSettingsWhileOtherThreadsPrint) {
    struct Counter {
        bool count(const char*) { return ++records > 0; }
        void swallow(const char*) { ++records; }
        std::atomic<int> records{0};
    } counter;
    const TFunction1<void, const char*> printer(&Counter::swallow, &counter);
    const TFunction1<bool, const char*> proc(&Counter::count, &counter);
    setLogPrinter(printer);
    std::atomic<bool> stop{false};
    const auto print = [&] {
        while (!stop) logFilter(3, "net", "f", "F", 1, "v", "record %d\n", 1);
    };
    std::thread printers[] = {std::thread(print), std::thread(print)};
    char words[][12] = {"-logmodule", "net", "on"};
    char* const command[] = {words[0], words[1], words[2]};
    for (int i = 0; i < 300; ++i) {
        setPrintOptions(with({&P::tagged}));
        setLogFilter(3, command);
        attachPrint(proc);
        setLogPrinter(printer);
        detachPrint(proc);
        logCleanup();
    }
    while (counter.records < 300) std::this_thread::yield();
    stop = true;
    for (std::thread& one : printers) one.join();
}

}  // namespace
