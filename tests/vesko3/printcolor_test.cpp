#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;

void showLevelAlone(bool withColor) {
    PrintOptions options{};
    options.noTime = options.noThread = options.noModule = options.noVersion = 1;
    options.noColor = withColor ? 0 : 1;
    setPrintOptions(options);
}

bool printsOnATerminalAndLeavesAPipeClean() {
    showLevelAlone(true);
    setPrintLogLevel(6);
    std::printf("before ");  // stands in the stream and keeps its own colour
    logFatal("a"), logError("b\n");
    logError("c\n"), logWarn("d\n"), logInfo("e\n"), logTrace("f\n"), logDebug("g\n");
    showLevelAlone(false);
    logWarn("plain\n");
    std::fflush(stdout);
    showLevelAlone(true);
    int pipe[2] = {};
    char text[64] = {};
    if (::pipe(pipe) != 0 || ::dup2(pipe[1], STDOUT_FILENO) < 0) return false;
    logWarn("in the pipe\n");
    std::fflush(stdout);
    return ::read(pipe[0], text, sizeof(text) - 1) > 0 &&
           std::string(text) == "warn   in the pipe\n";
}

TEST(PrintColor, ColoursEachLineOnceByItsLevelOnATerminalAlone) {
    std::fflush(stdout);  // the child must not write it once more
    int master = -1;
    const pid_t child = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (child == 0) ::_exit(printsOnATerminalAndLeavesAPipeClean() ? 0 : 1);
    std::string text;
    for (char letter; ::read(master, &letter, 1) == 1;) text += letter;
    int status = -1;
    ::waitpid(child, &status, 0);
    ::close(master);
    EXPECT_EQ(status, 0) << "the pipe";
    EXPECT_EQ(text,
              "before \x1b[35mfatal  ab\r\n\x1b[0m\x1b[31merror  c\r\n\x1b[0m"
              "\x1b[33mwarn   d\r\n\x1b[0m\x1b[32minfo   e\r\n\x1b[0m"
              "\x1b[37mtrace  f\r\n\x1b[0m\x1b[36mdebug  g\r\n\x1b[0mwarn   plain\r\n");
}

}  // namespace
