#include "vesko/vesko3/process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "platform/process.h"
#include "support/capture.h"

namespace {

using namespace Tovra::Platform;
using namespace Tovra::Vesko;

// What a call and its child print up to a level.
std::string run(const std::string& command, int result = 0, int level = 0) {
    const auto call = [&] { EXPECT_EQ(systemCall(command.c_str()), result); };
    return Tovra::Testing::printed(level, call);
}

struct Process : testing::Test {
    ~Process() override { EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left"; }
};

TEST_F(Process, CallsTellHowTheyWentByResultAndLog) {
    const std::string fits = "false" + std::string(254, ' ');
    EXPECT_EQ(run(fits + ' ', -1, 1) + run("no/program", -1, 2), "");
    const std::string tooLong = "systemCall's input parameter is too long, command : ";
    EXPECT_TRUE(run(fits + ' ', -1, 2).starts_with(tooLong + fits + " , line: "));
    const std::string failed = "systemCall CreateProcessA cmd : no/program failed, line :  ";
    EXPECT_TRUE(run("no/program", -1, 3).starts_with(failed));
    EXPECT_EQ(run(fits, 0, 6), "systemcall command:" + fits + '\n');
}

TEST_F(Process, TheLineIsCutIntoWordsAndStartedWithoutAShell) {
    EXPECT_EQ(run(R"(printf [%s] 'a  "b\' c'd'e "" 'f\')"), R"([a  "b\][cde][][f\])");
    EXPECT_EQ(run(R"("pr"intf [%s] "a'\"\\\$\`\b" c\ d\'\\)"), R"([a'"\$`\b][c d'\])");
    EXPECT_EQ(run(" printf\t[%s] $HOME \n\t* > \\"), R"([$HOME][*][>][\])");
    EXPECT_EQ(run(" \t\n", -1) + run("true 'a", -1) + run(R"(true "a\")", -1), "");
}

TEST_F(Process, AChildInheritsNeitherOpenFilesNorTheStateOfSignals) {
    ASSERT_EQ(::dup2(STDOUT_FILENO, 9), 9);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals{};
    ::sigaddset(&signals, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    EXPECT_EQ(run("readlink /proc/self/fd/9"), "");
    EXPECT_EQ(run("grep -cE 'Sig(Blk|Ign):.0+$' /proc/self/status"), "2\n");
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
    ::kill(static_cast<pid_t>(process.dwProcessId), SIGKILL);
    EXPECT_EQ(WaitForSingleObject(process.hProcess, INFINITE), WAIT_OBJECT_0);
    ::ualarm(0, 0);
    EXPECT_TRUE(CloseHandle(process.hProcess) && CloseHandle(process.hThread));
}

TEST_F(Process, TheEndIsSeenOnManyThreadsWithoutDescriptorsAndWithChildrenIgnored) {
    const auto call = [] { EXPECT_EQ(systemCall("sleep 0.03"), 0); };
    { const std::jthread threads[] = {std::jthread(call), std::jthread(call), std::jthread(call)}; }
    while (::dup(0) >= 0) continue;
    call();
    ::closefrom(STDERR_FILENO + 1);
    std::signal(SIGCHLD, SIG_IGN);
    call();
}

}  // namespace
