#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/capture.h"
#include "support/temporarydirectory.h"
#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;

void command(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    setLogFilter(static_cast<int>(arguments.size()), arguments.data());
}

/// Puts back what the commands change.
class LogCommand : public testing::Test {
protected:
    ~LogCommand() override {
        command({"-logpath", ""}), command({"-logsize", "0"}), command({"-logmodule", "on"});
        logCleanup();
        setPrintOptions({});
        setPrintLogLevel(3);
    }
    const Tovra::Testing::TemporaryDirectory m_directory;
};

TEST_F(LogCommand, ShowsItsUsageForNoCommandAndForHelpAlone) {
    const std::string usage =
        "logfilter command usage:\n"
        "logfilter -loglevel [levelnum](0-no printlevel, 1-fatal, 2-error, 3-warn, 4-info, "
        "5-trace, 6-debug): set log level\n"
        "logfilter -logmodule [modulename] [on/off] #turn module's log on/off\n"
        "logfilter -logmodule [on/off] #turn ALL module's log on/off\n"
        "logfilter -logpath [logpath/] #logger module's log to logpath or cancel logger(by set "
        "path to )\n"
        "logfiter -logsize [logsize] #log file max size limited to logsize Kbytes\n";
    EXPECT_EQ(printed(0, [] { setLogFilter(0, nullptr), command({"-h"}); }), usage + usage);
    const auto silent = [] {
        for (const char* word : {"-H", "", "-logmodule", "-loglevel", "-logpath"}) command({word});
        command({"-h", "x"}), setLogFilter(-1, nullptr), setLogFilter(2, nullptr);
    };
    EXPECT_EQ(printed(0, silent), "");
}

TEST_F(LogCommand, SetsTheLevelAndSwitchesHeaderElements) {
    constexpr std::pair<const char*, int> levels[] = {{"5", 5},
                                                      {"-7", -7},
                                                      {"warn", 0},
                                                      {"6x", 6},
                                                      {"9999999999", INT_MAX},
                                                      {"-99999999999999999999", INT_MIN}};
    for (const auto& [number, level] : levels) {
        command({"-loglevel", number, "ignored"});
        EXPECT_EQ(getPrintLogLevel(), level) << number;
    }
    constexpr std::pair<const char*, unsigned char PrintOptions::*> elements[] = {
        {"-logtime", &PrintOptions::noTime},
        {"-logthread", &PrintOptions::noThread},
        {"-logversion", &PrintOptions::noVersion},
        {"-logfunction", &PrintOptions::noFunction}};
    PrintOptions options{};
    for (const std::string value : {"no", "oN", "Off", "ON", "", "on"}) {
        for (const auto& [word, leftOut] : elements) {
            command({word, value}), getPrintOptions(&options);
            EXPECT_EQ(options.*leftOut == 0, value.find_first_of("nN") == 1) << word << value;
        }
    }
}

TEST_F(LogCommand, FiltersModulesByExactNameOnceOneIsNamed) {
    const auto passes = [](const char* module) {
        return printed(3, [&] { logFilter(3, module, "f", "F", 1, "v", "x\n"); }) == "x\n";
    };
    command({"-logmodule", "net", "ON"});
    EXPECT_TRUE(passes("net"));
    command({"-logmodule", "net", "off"});
    EXPECT_TRUE(!passes("net") && passes("Net") && passes(nullptr));
    for (const char* anyButOff : {"ON", "anything"}) {
        command({"-logmodule", "OFF"});
        EXPECT_FALSE(passes("other") || passes(nullptr));
        EXPECT_EQ(printed(3, [] { logError("1"), logLibName(3, "net", "2\n"); }), "12\n");
        command({"-logmodule", anyButOff});
        EXPECT_TRUE(passes("net"));
    }
    command({"-logmodule", "other", "On"});
    EXPECT_FALSE(passes("net")) << "its entry has stayed";
}

void warn(const std::string& message) {
    printed(3, [&] { logWarn("%s\n", message.c_str()); });
}

TEST_F(LogCommand, EmptiesTheFileBeforeTheRecordThatFindsItFull) {
    // Without a limit the latest record stands alone.
    const std::tuple<const char*, std::size_t, std::size_t> rows[] = {
        {"0", 9, 9},       {"-1", 8, 8},     {"2097152", 7, 7}, {"x", 6, 6},    {"1", 1500, 1506},
        {"1", 1000, 1000}, {"1", 600, 1600}, {"1", 200, 200},   {"1", 300, 500}};
    command({"-logpath", m_directory.path("log")});
    for (const auto& [limit, record, fileAfter] : rows) {
        command({"-logsize", limit});
        warn(std::string(record - 1, 'm'));
        EXPECT_EQ(m_directory.read("log").size(), fileAfter);
        if (limit[0] == '1') logCleanup();  // the next record goes on from this count and file
    }
}

TEST_F(LogCommand, GoesOnInTheOldFileUntilItIsClosedAndRetriesANewOne) {
    command({"-logsize", "64"});
    command({"-logpath", m_directory.path("old")});
    warn("1");
    command({"-logpath", m_directory.path("folder/new")});
    warn("2");
    EXPECT_EQ(m_directory.read("old"), "1\n2\n");
    logCleanup();
    testing::internal::CaptureStderr();
    EXPECT_EQ(printed(3, [] { EXPECT_EQ(logWarn("lost\n"), 5); }), "lost\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fopen:: No such file or directory\n");
    std::filesystem::create_directory(m_directory.path("folder"));
    warn("3");
    command({"-logpath", ""});
    warn("4");
    EXPECT_EQ(m_directory.read("folder/new"), "3\n");
}

TEST_F(LogCommand, TearsNoRecordOfTwoThreads) {
    command({"-logsize", "4096"});
    command({"-logpath", m_directory.path("log")});
    const std::string line = std::string(200, 'x') + '\n';
    const auto work = [&] {
        for (int i = 0; i < 500; ++i) logWarn("%s", line.c_str());
    };
    printed(3, [&] { const std::jthread threads[] = {std::jthread(work), std::jthread(work)}; });
    std::string whole;
    for (int i = 0; i < 1000; ++i) whole += line;
    EXPECT_TRUE(m_directory.read("log") == whole);
}

}  // namespace
