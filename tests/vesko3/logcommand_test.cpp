#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "support/capture.h"
#include "support/temporarydirectory.h"
#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::records;
using Tovra::Testing::TemporaryDirectory;

void command(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    setLogFilter(static_cast<int>(arguments.size()), arguments.data());
}

bool passes(const char* module) {
    return !records(3, [&] { logFilter(3, module, "f", "F", 1, "v", "x\n"); }).empty();
}

/// Puts back what the commands change.
class LogCommand : public testing::Test {
protected:
    ~LogCommand() override {
        command({"-logpath", ""});
        command({"-logsize", "0"});
        command({"-logmodule", "on"});
        logCleanup();
        setPrintOptions({});
        setPrintLogLevel(3);
    }
};

TEST_F(LogCommand, ShowsItsUsageForNoCommandAndForHelpAlone) {
    const std::string usage =
        "logfilter command usage:\n"
        "logfilter -loglevel [levelnum](0-no printlevel, 1-fatal, 2-error, 3-warn, 4-info, "
        "5-trace, 6-debug): set log level\n"
        "logfilter -logmodule [modulename] [on/off] #turn module's log on/off\n"
        "logfilter -logmodule [on/off] #turn ALL module's log on/off\n"
        "logfilter -logpath [logpath/] #logger module's log to logpath or cancel logger(by set "
        "path "
        "to )\n"
        "logfiter -logsize [logsize] #log file max size limited to logsize Kbytes\n";
    EXPECT_EQ(records(0, [] { setLogFilter(0, nullptr); }), usage);
    EXPECT_EQ(records(0, [] { command({"-h"}); }), usage);
    EXPECT_EQ(records(0,
                      [] {
                          command({"-h", "x"}), command({"-H"}), command({"help"}), command({""});
                          command({"-logmodule"}), command({"-loglevel"}), command({"-logpath"});
                          setLogFilter(-1, nullptr), setLogFilter(2, nullptr);
                      }),
              "");
}

TEST_F(LogCommand, SetsTheLevel) {
    struct Case {
        const char* number;
        int level;
    };
    for (const auto& [number, level] :
         {Case{"5", 5}, Case{"0", 0}, Case{"-7", -7}, Case{"warn", 0}, Case{"6x", 6}, Case{"", 0},
          Case{"99999999999999999999", INT_MAX}, Case{"-99999999999999999999", INT_MIN}}) {
        command({"-loglevel", number, "ignored"});
        EXPECT_EQ(getPrintLogLevel(), level) << number;
    }
}

TEST_F(LogCommand, FiltersModulesByExactNameOnceOneIsNamed) {
    command({"-logmodule", "net", "off"});
    EXPECT_FALSE(passes("net"));
    EXPECT_TRUE(passes("Net"));
    EXPECT_TRUE(passes("other"));
    EXPECT_TRUE(passes(nullptr));
    command({"-logmodule", "ON"});
    EXPECT_TRUE(passes("net"));
    command({"-logmodule", "other", "On"});
    EXPECT_FALSE(passes("net")) << "its entry has stayed";
    command({"-logmodule", "net", "ON"});
    EXPECT_TRUE(passes("net"));
}

TEST_F(LogCommand, SilencesLogFilterAlone) {
    command({"-logmodule", "OFF"});
    EXPECT_FALSE(passes("net"));
    EXPECT_FALSE(passes(nullptr));
    EXPECT_NE(records(3, [] { logError("x\n"); }), "");
    EXPECT_NE(records(3, [] { logLibName(3, "net", "x\n"); }), "");
    command({"-logmodule", "anything"});
    EXPECT_TRUE(passes("net"));
}

TEST_F(LogCommand, SwitchesHeaderElements) {
    struct Case {
        const char* word;
        unsigned char PrintOptions::*leftOut;
    };
    for (const auto& [word, leftOut] :
         {Case{"-logtime", &PrintOptions::noTime}, Case{"-logthread", &PrintOptions::noThread},
          Case{"-logversion", &PrintOptions::noVersion},
          Case{"-logfunction", &PrintOptions::noFunction}}) {
        SCOPED_TRACE(word);
        for (const char* value : {"Off", "no", "0", ""}) {
            setPrintOptions({});
            command({word, value});
            PrintOptions options{};
            getPrintOptions(&options);
            EXPECT_NE(options.*leftOut, 0) << value;
            command({word, "oN"});
            getPrintOptions(&options);
            EXPECT_EQ(options.*leftOut, 0);
        }
    }
}

// A message that makes a record of exactly so many bytes. Every header has the same length here.
std::string messageFor(std::size_t recordBytes) {
    static const std::size_t s_header = records(3, [] { logWarn("\n"); }).size() - 1;
    return std::string(recordBytes - s_header - 1, 'm') + "\n";
}

void warn(const std::string& message) {
    records(3, [&] { logWarn("%s", message.c_str()); });
}

TEST_F(LogCommand, KeepsTheLatestRecordAloneWithoutASizeLimit) {
    const TemporaryDirectory directory;
    for (const char* size : {"", "0", "-1", "2097152", "x"}) {
        SCOPED_TRACE(size);
        command({"-logpath", directory.path("log")});
        if (size[0] != '\0') command({"-logsize", size});
        for (const char* text : {"first\n", "second\n", "third\n"}) warn(text);
        const std::string content = directory.read("log");
        EXPECT_NE(content.find("third\n"), std::string::npos);
        EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 1);
    }
}

TEST_F(LogCommand, EmptiesTheFileBeforeTheRecordThatFindsItFull) {
    const TemporaryDirectory directory;
    const std::string first = messageFor(1500);
    command({"-logsize", "1"});
    command({"-logpath", directory.path("log")});
    logCleanup();
    warn(first);  // whatever came before is over the limit now
    warn(messageFor(1000));
    EXPECT_EQ(directory.read("log").size(), 1000U);
    warn(messageFor(600));
    EXPECT_EQ(directory.read("log").size(), 1600U) << "the limit may be passed by one record";
    logCleanup();
    warn(messageFor(200));
    EXPECT_EQ(directory.read("log").size(), 200U) << "the count went on from the old size";
    logCleanup();
    warn(messageFor(300));
    EXPECT_EQ(directory.read("log").size(), 500U) << "and the file was opened to append";
}

TEST_F(LogCommand, GoesOnInTheOldFileUntilItIsClosed) {
    const TemporaryDirectory directory;
    command({"-logsize", "64"});
    command({"-logpath", directory.path("old")});
    warn("1\n");
    const std::size_t before = directory.read("old").size();
    command({"-logpath", directory.path("new")});
    warn("2\n");
    EXPECT_GT(directory.read("old").size(), before);
    logCleanup();
    warn("3\n");
    EXPECT_NE(directory.read("new").find("3\n"), std::string::npos);
    command({"-logpath", ""});
    const std::string content = directory.read("new");
    warn("4\n");
    EXPECT_EQ(directory.read("new"), content);
}

TEST_F(LogCommand, SaysWhyAFileCannotBeOpenedAndTriesAgain) {
    const TemporaryDirectory directory;
    logCleanup();
    command({"-logsize", "64"});
    command({"-logpath", directory.path("folder/log")});
    testing::internal::CaptureStderr();
    EXPECT_NE(records(3, [] { EXPECT_GT(logWarn("lost\n"), 0); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fopen:: No such file or directory\n");
    std::filesystem::create_directory(directory.path("folder"));
    warn("kept\n");
    const std::string content = directory.read("folder/log");
    EXPECT_NE(content.find("kept\n"), std::string::npos);
    EXPECT_EQ(content.find("lost\n"), std::string::npos);
}

TEST_F(LogCommand, TearsNoRecordOfTwoThreads) {
    const TemporaryDirectory directory;
    command({"-logsize", "4096"});
    command({"-logpath", directory.path("log")});
    logCleanup();
    records(3, [] {
        const auto work = [] {
            for (int i = 0; i < 500; ++i) logWarn("<%s>\n", std::string(200, 'x').c_str());
        };
        std::thread other(work);
        work();
        other.join();
    });
    const std::string content = directory.read("log");
    std::size_t whole = 0;
    const std::string message = "<" + std::string(200, 'x') + ">\n";
    for (std::size_t at = 0; (at = content.find(message, at)) != std::string::npos; ++whole) {
        at += message.size();
    }
    EXPECT_EQ(whole, 1000U);
    EXPECT_EQ(static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n')), whole);
}

}  // namespace
