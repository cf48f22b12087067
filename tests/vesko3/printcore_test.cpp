#include "vesko3/printcore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/thread.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "support/manualclock.h"
#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Tovra::Testing::records;
using P = PrintOptions;
using Fields = std::vector<unsigned char P::*>;

void setOptions(const Fields& fields) {
    P options{};
    for (const auto field : fields) options.*field = 1;
    setPrintOptions(options);
}

// Leaves the level alone in the header.
const Fields s_bare{&P::noTime, &P::noModule, &P::noVersion, &P::noFunction, &P::noThread};
constexpr int s_fits = 8191 - 6;  // behind "warn  "

void printParts() {
    logWarn("abc"), std::thread([] { logLibName(4, "net", " %d", 1); }).join(), logWarn("%s", "");
    EXPECT_EQ(logWarn("def\n"), 4);
    EXPECT_EQ(logWarn("%*d", s_fits, 1), 8191);
    logWarn("\n");
    EXPECT_EQ(logWarn("%*d", s_fits + 1, 1), 8191);
    logWarn("next\n");
}

TEST(PrintCore, PutsTheToldHeaderBeforeEachLine) {
    Tovra::Testing::ManualClock clock;
    clock.local({2024, 3, 2, 5, 12, 0, 0, 5});
    const auto filter = [] { logFilter(3, "mod", "src/a/file", "F", 123, "1.0", "x\n"); };
    const auto nulls = [] { logFilter(3, nullptr, nullptr, nullptr, 0, nullptr, "x\n"); };
    const std::string id = std::to_string(Tovra::Platform::GetCurrentThreadId());
    const std::string blanks(s_fits, ' ');
    const auto expect = [](const auto& print, const Fields& options, const std::string& text) {
        setOptions(options);
        EXPECT_EQ(records(6, print), text);
    };
    expect(filter, {}, "12:00:00|[mod] [ver:1.0] warn file F 123 tid:" + id + " x\n");
    expect(filter, {&P::tagged, &P::withDate},
           "|T:2024-03-05 12:00:00|M:mod|V:1.0|L:warn |F:file|f:F|l:123|t:" + id + "|m:x\n");
    expect(filter, {&P::withMilliseconds, &P::noFile, &P::noThread},
           "12:00:00:  5|[mod] [ver:1.0] warn F 123 x\n");
    expect(filter, {&P::withDate, &P::noTime, &P::noLine, &P::noThread},
           "2024-03-05 [mod] [ver:1.0] warn file F x\n");
    expect(nulls, {&P::noThread}, "12:00:00|[] [ver:] warn  x\n");
    expect([] { logLibName(0, "net", "x\n"), logLibName(4, "net", "x\n"); }, {&P::noThread},
           "12:00:00|[net] [ver:] info  x\n");
    expect(printParts, s_bare,
           "warn  abc 1def\nwarn  " + blanks.substr(1) + "1\nwarn  " + blanks + "warn  next\n");
}

std::string s_printer, s_procs;
void print(const char* text) { s_printer += text; }
bool proc(const char* text) { return s_procs += text, false; }
bool once(const char* text) { return s_procs += "once: ", proc(text), detachPrint(&once); }

TEST(PrintCore, GivesRecordsToThePrinterInsteadAndToEveryProcInOrder) {
    setOptions(s_bare);
    s_printer = s_procs = "";
    EXPECT_TRUE(attachPrint(&proc) && !attachPrint(&proc) && attachPrint(&once));
    setLogPrinter(&print);
    EXPECT_EQ(records(3, [] { logWarn("1\n"), logWarn("2\n"); }), "");
    setLogPrinter({});
    EXPECT_TRUE(!detachPrint(&once) && detachPrint(&proc) && !detachPrint(&proc));
    EXPECT_EQ(s_printer, "warn  1\nwarn  2\n");
    EXPECT_EQ(s_procs, "warn  1\nonce: warn  1\nwarn  2\n") << "a false result detaches nothing";
}

TEST(PrintCore, UsesNoHeapForARecord) {
    setOptions({});
    records(3, [] {
        logWarn("the stream takes its buffer here\n");
        const auto print = [] { logWarn("%s %d\n", "passes", 1), logInfo("does not\n"); };
        EXPECT_EQ(Tovra::Testing::allocationsOf(print), 0U);
    });
}

TEST(PrintCore, DumpsBytesInRowsWithAGapAfterEach512) {
    unsigned char bytes[530];
    for (std::size_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<unsigned char>(i + 112);
    const std::string text = printed(5, [&] { dumpHex(bytes, sizeof(bytes)); });
    const auto at = [](void* row) { return testing::PrintToString(row); };
    const std::string first =
        at(bytes) + ": 70 71 72 73 74 75 76 77 78 79 7a 7b 7c 7d 7e 7f   pqrstuvwxyz.....\n\n";
    const std::string last =
        "\n\n" + at(bytes + 528) + ": 80 81 " + std::string(14 * 3, ' ') + "  ..\n";
    EXPECT_TRUE(text.starts_with(first) && text.ends_with(last)) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 34 + 2);
    EXPECT_EQ(printed(5, [&] { dumpHex(bytes, 0), dumpHex(nullptr, 5); }), "");
}

std::atomic<int> s_swallowed{0};
void swallow(const char*) { ++s_swallowed; }
bool swallowToo(const char*) { return ++s_swallowed > 0; }

TEST(PrintCore, TakesSettingsWhileOtherThreadsPrint) {
    setLogPrinter(&swallow);
    std::atomic<bool> stop{false};
    const auto print = [&] {
        while (!stop) logFilter(3, "net", "f", "F", 1, "v", "record %d\n", 1);
    };
    std::thread printers[] = {std::thread(print), std::thread(print)};
    for (int i = 0; i < 300 || s_swallowed < 300; ++i) {
        setOptions({&P::tagged});
        attachPrint(&swallowToo);
        setLogPrinter(&swallow);
        detachPrint(&swallowToo);
    }
    stop = true;
    for (std::thread& one : printers) one.join();
    setLogPrinter({});
}

}  // namespace
