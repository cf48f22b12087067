#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <sstream>
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
    const auto silent = [] {
        for (const char* word : {"-H", "help", "", "-logmodule", "-loglevel", "-logpath"}) {
            command({word});
        }
        command({"-h", "x"});
        setLogFilter(-1, nullptr), setLogFilter(2, nullptr);
    };
    EXPECT_EQ(records(0, silent), "");
}

TEST_F(LogCommand, SetsTheLevel) {
    constexpr std::pair<const char*, int> cases[] = {{"5", 5},
                                                     {"0", 0},
                                                     {"-7", -7},
                                                     {"warn", 0},
                                                     {"6x", 6},
                                                     {"", 0},
                                                     {"99999999999999999999", INT_MAX},
                                                     {"-99999999999999999999", INT_MIN}};
    for (const auto& [number, level] : cases) {
        command({"-loglevel", number, "ignored"});
        EXPECT_EQ(getPrintLogLevel(), level) << number;
    }
}

TEST_F(LogCommand, FiltersModulesByExactNameOnceOneIsNamed) {
    command({"-logmodule", "net", "off"});
    EXPECT_FALSE(passes("net"));
    EXPECT_TRUE(passes("Net") && passes("other") && passes(nullptr));
    for (const char* anyButOff : {"ON", "anything"}) {
        command({"-logmodule", "OFF"});
        EXPECT_FALSE(passes("other") || passes(nullptr));
        EXPECT_NE(records(3, [] { logError("x\n"); }), "") << "not filtered";
        EXPECT_NE(records(3, [] { logLibName(3, "net", "x\n"); }), "") << "not filtered";
        command({"-logmodule", anyButOff});
        EXPECT_TRUE(passes("net"));
    }
    command({"-logmodule", "other", "On"});
    EXPECT_FALSE(passes("net")) << "its entry has stayed";
    command({"-logmodule", "net", "ON"});
    EXPECT_TRUE(passes("net"));
}

TEST_F(LogCommand, SwitchesHeaderElements) {
    constexpr std::pair<const char*, unsigned char PrintOptions::*> cases[] = {
        {"-logtime", &PrintOptions::noTime},
        {"-logthread", &PrintOptions::noThread},
        {"-logversion", &PrintOptions::noVersion},
        {"-logfunction", &PrintOptions::noFunction}};
    for (const auto& [word, leftOut] : cases) {
        for (const char* value : {"oN", "Off", "ON", "no", "on", "0", "On", ""}) {
            command({word, value});
            PrintOptions options{};
            getPrintOptions(&options);
            const bool on = std::string_view(value).find_first_of("nN") == 1;
            EXPECT_EQ(options.*leftOut == 0, on) << word << value;
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
    command({"-logpath", directory.path("log")});
    for (const char* size : {static_cast<const char*>(nullptr), "0", "-1", "2097152", "x"}) {
        if (size != nullptr) command({"-logsize", size});
        for (const char* text : {"first\n", "second\n", "third\n"}) warn(text);
        const std::string content = directory.read("log");
        EXPECT_TRUE(content.ends_with("third\n")) << content;
        EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 1);
    }
}

TEST_F(LogCommand, EmptiesTheFileBeforeTheRecordThatFindsItFull) {
    const TemporaryDirectory directory;
    command({"-logsize", "1"});
    command({"-logpath", directory.path("log")});
    warn(messageFor(1500));  // whatever came before is over the limit now
    const auto sizeAfter = [&](std::size_t recordBytes) {
        warn(messageFor(recordBytes));
        return directory.read("log").size();
    };
    EXPECT_EQ(sizeAfter(1000), 1000U);
    EXPECT_EQ(sizeAfter(600), 1600U) << "the limit may be passed by one record";
    logCleanup();
    EXPECT_EQ(sizeAfter(200), 200U) << "the count went on from the old size";
    logCleanup();
    EXPECT_EQ(sizeAfter(300), 500U) << "and the file was opened to append";
}

TEST_F(LogCommand, GoesOnInTheOldFileUntilItIsClosed) {
    const TemporaryDirectory directory;
    command({"-logsize", "64"});
    command({"-logpath", directory.path("old")});
    warn("1\n");
    command({"-logpath", directory.path("new")});
    warn("2\n");
    EXPECT_TRUE(directory.read("old").ends_with("2\n"));
    logCleanup();
    warn("3\n");
    EXPECT_TRUE(directory.read("new").ends_with("3\n"));
    command({"-logpath", ""});
    warn("4\n");
    EXPECT_TRUE(directory.read("new").ends_with("3\n"));
}

TEST_F(LogCommand, SaysWhyAFileCannotBeOpenedAndTriesAgain) {
    const TemporaryDirectory directory;
    command({"-logsize", "64"});
    command({"-logpath", directory.path("folder/log")});
    testing::internal::CaptureStderr();
    EXPECT_NE(records(3, [] { EXPECT_GT(logWarn("lost\n"), 0); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fopen:: No such file or directory\n");
    std::filesystem::create_directory(directory.path("folder"));
    warn("kept\n");
    const std::string content = directory.read("folder/log");
    EXPECT_TRUE(content.ends_with("kept\n")) << content;
    EXPECT_EQ(content.find("lost"), std::string::npos);
}

TEST_F(LogCommand, TearsNoRecordOfTwoThreads) {
    const TemporaryDirectory directory;
    command({"-logsize", "4096"});
    command({"-logpath", directory.path("log")});
    const std::string message = "<" + std::string(200, 'x') + ">";
    const auto work = [&] {
        for (int i = 0; i < 500; ++i) logWarn("%s\n", message.c_str());
    };
    records(3, [&] {
        std::thread other(work);
        work();
        other.join();
    });
    std::istringstream lines(directory.read("log"));
    int whole = 0;
    for (std::string line; std::getline(lines, line); ++whole) {
        EXPECT_TRUE(line.ends_with(message)) << line;
        EXPECT_EQ(std::count(line.begin(), line.end(), '<'), 1) << line;
    }
    EXPECT_EQ(whole, 1000);
}

}  // namespace
