#include "vesko/vesko3/process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "platform/process.h"
#include "support/capture.h"
#include "support/temporarydirectory.h"

namespace {

using namespace Tovra::Platform;
using Tovra::Testing::printed;
using Tovra::Vesko::systemCall;

// What a call and its child print up to a level; "#" stands for the line of the source.
std::string run(const std::string& command, int result = 0, int level = 0) {
    std::string text = printed(level, [&] { EXPECT_EQ(systemCall(command.c_str()), result); });
    const std::size_t place = text.find(':', text.find("line")) + 1;
    const std::size_t begin = text.find_first_not_of(' ', place);
    if (place == 0 || begin == std::string::npos) return text;
    return text.substr(0, begin) + '#' + text.substr(text.find_first_not_of("0123456789", begin));
}

class Process : public testing::Test {
protected:
    ~Process() override { EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left"; }
};

TEST_F(Process, CallsTellHowTheyWentByResultAndLog) {
    const std::string fits = "true" + std::string(255, ' ');
    const std::string tooLong = "systemCall's input parameter is too long, command : ";
    const std::tuple<std::string, int, int, std::string> cases[] = {
        {fits, 0, 2, ""},
        {"sh -c 'exit 3'", 0, 2, ""},
        {fits + ' ', -1, 2, tooLong + fits + " , line: # \n"},
        {"no/program", -1, 3, "systemCall CreateProcessA cmd : no/program failed, line :  #\n"}};
    for (const auto& [command, result, level, message] : cases) {
        EXPECT_EQ(run(command, result, level - 1), "");
        EXPECT_EQ(run(command, result, level), message);
        EXPECT_EQ(run(command, result, 5), message);
        EXPECT_EQ(run(command, result, 6), "systemcall command:" + command + '\n' + message);
    }
    EXPECT_EQ(printed(6, [] { EXPECT_EQ(systemCall(nullptr), 1); }), "");
}

TEST_F(Process, TheLineIsCutIntoWordsWithoutAShell) {
    EXPECT_EQ(run(" printf\t[%s] a \n\tb "), "[a][b]");
    EXPECT_EQ(run(R"(printf [%s] 'a  "b\' c'd'e "" 'f\')"), R"([a  "b\][cde][][f\])");
    EXPECT_EQ(run(R"(printf [%s] "a'\"\\\$\`\b" c\ d\'\\)"), R"([a'"\$`\b][c d'\])");
    EXPECT_EQ(run(R"("pr"intf [%s] $HOME * ; > ~ \)"), R"([$HOME][*][;][>][~][\])");
}

TEST_F(Process, WhatCannotBeExecutedIsNotStarted) {
    const Tovra::Testing::TemporaryDirectory directory;
    const std::string plain = directory.write("plain", "exit 0\n");
    const std::string foreign = directory.write("foreign", "exit 0\n");
    std::filesystem::permissions(foreign, std::filesystem::perms::owner_all);
    for (const char* line : {" \t\n", "true 'a", R"(true "a\")", plain.c_str(), foreign.c_str()}) {
        run(line, -1);
    }
}

TEST_F(Process, AChildInheritsNeitherOpenFilesNorTheStateOfSignals) {
    ASSERT_EQ(::dup2(STDOUT_FILENO, 9), 9);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    EXPECT_EQ(run("readlink /proc/self/fd/9"), "");
    EXPECT_EQ(run("grep -cE 'Sig(Blk|Ign):.0+$' /proc/self/status"), "2\n");
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    ::close(9);
}

TEST_F(Process, AWaitKeepsItsLimitThroughSignals) {
    char line[] = "sleep 1000";
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessA(line, process));
    std::signal(SIGALRM, [](int) {});
    ::ualarm(5000, 5000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 50), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    ::ualarm(0, 0);
    ::kill(static_cast<pid_t>(process.dwProcessId), SIGKILL);
    EXPECT_EQ(WaitForSingleObject(process.hThread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(process.hProcess) && CloseHandle(process.hThread));
}

TEST_F(Process, TheEndIsSeenOnManyThreadsWithoutDescriptorsAndWithChildrenIgnored) {
    const auto call = [] { EXPECT_EQ(systemCall("sleep 0.03"), 0); };
    { const std::jthread threads[] = {std::jthread(call), std::jthread(call), std::jthread(call)}; }
    const int lowest = ::dup(0);
    int highest = lowest;
    for (int copy = lowest; copy >= 0; copy = ::dup(0)) highest = copy;
    call();
    for (int copy = lowest; copy <= highest; ++copy) ::close(copy);
    std::signal(SIGCHLD, SIG_IGN);
    call();
    std::signal(SIGCHLD, SIG_DFL);
}

TEST(ProcessId, IsTheCallersOwn) {
    EXPECT_EQ(Tovra::Vesko::getCurrectProcessID(), static_cast<std::uint64_t>(::getpid()));
}

}  // namespace
