#include <gtest/gtest.h>

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

/// Puts back what the commands change for `printed`.
struct LogCommand : testing::Test {
    ~LogCommand() override {
        command({"-logpath", ""}), command({"-logsize", "0"}), command({"-logmodule", "on"});
        logCleanup();
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
    EXPECT_EQ(printed(0, [] { setLogFilter(0, nullptr), command({"-h"}), command({"-loglevel"}); }),
              usage + usage);
}

TEST_F(LogCommand, SetsTheLevelAndSwitchesHeaderElements) {
    for (const auto& [number, level] : {std::pair{"7x", 7}, {"", 0}, {"9999999999", 2147483647}}) {
        command({"-loglevel", number, "ignored"});
        EXPECT_EQ(getPrintLogLevel(), level) << number;
    }
    constexpr std::pair<const char*, unsigned char PrintOptions::*> elements[] = {
        {"-logtime", &PrintOptions::noTime},
        {"-logthread", &PrintOptions::noThread},
        {"-logversion", &PrintOptions::noVersion},
        {"-logfunction", &PrintOptions::noFunction}};
    PrintOptions options{};
    for (const auto& [word, leftOut] : elements) {
        for (const auto& [value, shown] : {std::pair{"no", false}, {"oN", true}, {"Off", false}}) {
            command({word, value}), getPrintOptions(&options);
            EXPECT_EQ(options.*leftOut == 0, shown) << word << value;
        }
    }
}

TEST_F(LogCommand, FiltersModulesByExactNameOnceOneIsNamed) {
    const auto passes = [](const char* module) {
        return printed(3, [&] { logFilter(3, module, "f", "F", 1, "v", "x\n"); }) == "x\n";
    };
    command({"-logmodule", "net", "off"});
    EXPECT_TRUE(!passes("net") && passes("Net") && passes(nullptr));
    command({"-logmodule", "OFF"});
    EXPECT_FALSE(passes("other") || passes(nullptr));
    EXPECT_EQ(printed(3, [] { logError("1"), logLibName(3, "net", "2\n"); }), "12\n");
    command({"-logmodule", "other", "On"});
    EXPECT_FALSE(passes("net")) << "its entry has stayed";
}

void warn(const std::string& text) {
    printed(3, [&] { logWarn("%s\n", text.c_str()); });
}

TEST_F(LogCommand, EmptiesTheFileBeforeTheRecordThatFindsItFull) {
    // Without a limit the latest record stands alone.
    const std::tuple<const char*, std::size_t, std::size_t> rows[] = {
        {"2097152", 7, 7}, {"1", 1017, 1024}, {"1", 1000, 1000}, {"1", 600, 1600}, {"1", 200, 200}};
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
    const std::string text = m_directory.read("log");
    EXPECT_TRUE(text.size() == 201'000 && line + text == text + line);
}

}  // namespace
