#include "vesko/vesko3/process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <regex>
#include <thread>

#include "platform/process.h"
#include "support/capture.h"
#include "support/temporarydirectory.h"

namespace {

using namespace Tovra::Platform;
using Tovra::Testing::printed;
using Tovra::Vesko::getCurrectProcessID;
using Tovra::Vesko::systemCall;

// What a call and its child print up to a level, without the line of the source.
std::string run(const std::string& command, int result = 0, int level = 0) {
    const std::string text =
        printed(level, [&] { EXPECT_EQ(systemCall(command.c_str()), result); });
    return std::regex_replace(text, std::regex("(line ?: +)[0-9]+"), "$1#");
}

class Process : public testing::Test {
protected:
    ~Process() override { EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left"; }
};

TEST_F(Process, CallsTellHowTheyWentByResultAndLog) {
    const std::string fits = "true" + std::string(255, ' ');
    const std::tuple<std::string, int, int, std::string> rows[] = {
        {fits, 0, 2, ""},
        {"sh -c 'exit 3'", 0, 2, ""},
        {fits + ' ', -1, 2,
         "systemCall's input parameter is too long, command : " + fits + " , line: # \n"},
        {"no/program", -1, 3, "systemCall CreateProcessA cmd : no/program failed, line :  #\n"}};
    for (const auto& [command, result, level, message] : rows) {
        EXPECT_EQ(run(command, result, level - 1), "");
        EXPECT_EQ(run(command, result, level), message);
        EXPECT_EQ(run(command, result, 6), "systemcall command:" + command + '\n' + message);
    }
    EXPECT_EQ(printed(6, [] { EXPECT_EQ(systemCall(nullptr), 1); }), "");
}

TEST_F(Process, TheLineIsCutIntoWordsAndStartedWithoutAShell) {
    EXPECT_EQ(run(" printf\t[%s] a \n\tb "), "[a][b]");
    EXPECT_EQ(run(R"(printf [%s] 'a  "b\' c'd'e "" 'f\')"), R"([a  "b\][cde][][f\])");
    EXPECT_EQ(run(R"("pr"intf [%s] "a'\"\\\$\`\b" c\ d\'\\)"), R"([a'"\$`\b][c d'\])");
    EXPECT_EQ(run(R"(printf [%s] $HOME * ; > ~ \)"), R"([$HOME][*][;][>][~][\])");
    const Tovra::Testing::TemporaryDirectory directory;
    const std::string plain = directory.write("plain", "exit 0\n");
    const std::string foreign = directory.write("foreign", "exit 0\n");
    std::filesystem::permissions(foreign, std::filesystem::perms::owner_all);
    for (const char* line : {" \t\n", "true 'a", R"(true "a\")", plain.c_str(), foreign.c_str()})
        run(line, -1);
}

TEST_F(Process, AChildInheritsNeitherOpenFilesNorTheStateOfSignals) {
    ASSERT_EQ(::dup2(STDOUT_FILENO, 9), 9);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals{};
    ::sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    EXPECT_EQ(run("sh -c 'echo $PPID'"), std::to_string(getCurrectProcessID()) + '\n');
    EXPECT_EQ(run("readlink /proc/self/fd/9"), "");
    EXPECT_EQ(run("grep -cE 'Sig(Blk|Ign):.0+$' /proc/self/status"), "2\n");
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_DFL), ::close(9);
}

TEST_F(Process, AWaitKeepsItsLimitThroughSignals) {
    char line[] = "sleep 1000";
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessA(line, process));
    std::signal(SIGALRM, [](int) {});
    ::ualarm(5000, 5000);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 50), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now(), limit);
    ::ualarm(0, 0);
    ::kill(static_cast<pid_t>(process.dwProcessId), SIGKILL);
    EXPECT_EQ(WaitForSingleObject(process.hThread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(process.hProcess) && CloseHandle(process.hThread));
}

TEST_F(Process, TheEndIsSeenOnManyThreadsWithoutDescriptorsAndWithChildrenIgnored) {
    const auto call = [] { EXPECT_EQ(systemCall("sleep 0.03"), 0); };
    { const std::jthread threads[] = {std::jthread(call), std::jthread(call), std::jthread(call)}; }
    const int lowest = ::dup(0);
    while (::dup(0) >= 0) continue;
    call();
    for (int copy = lowest; ::close(copy) == 0;) ++copy;
    std::signal(SIGCHLD, SIG_IGN);
    call();
    std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace
