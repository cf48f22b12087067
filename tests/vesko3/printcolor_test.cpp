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

// What a program prints in colour on a terminal of its own.
std::string onTerminal(void (*print)()) {
    std::fflush(stdout);  // the child must not write it once more
    int master = -1;
    const pid_t child = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (child == 0) {
        showLevelAlone(true);
        print();
        std::fflush(stdout);
        ::_exit(0);
    }
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = ::read(master, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(n));
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    ::close(master);
    EXPECT_EQ(status, 0);
    return text;
}

TEST(PrintColor, ColoursEachLevelOnATerminal) {
    EXPECT_EQ(onTerminal([] {
                  setPrintLogLevel(6);
                  logFatal("a\n"), logError("b\n"), logWarn("c\n");
                  logInfo("d\n"), logTrace("e\n"), logDebug("f\n");
              }),
              "\x1b[35mfatal  a\r\n\x1b[0m\x1b[31merror  b\r\n\x1b[0m"
              "\x1b[33mwarn   c\r\n\x1b[0m\x1b[32minfo   d\r\n\x1b[0m"
              "\x1b[37mtrace  e\r\n\x1b[0m\x1b[36mdebug  f\r\n\x1b[0m");
}

TEST(PrintColor, ChangesTheColourOnceForALineAndNotWithoutColour) {
    EXPECT_EQ(onTerminal([] {
                  std::printf("before ");  // stands in the stream and keeps its own colour
                  logWarn("abc"), logError("def\n");
                  showLevelAlone(false);
                  logWarn("plain\n");
              }),
              "before \x1b[33mwarn   abcdef\r\n\x1b[0mwarn   plain\r\n");
}

TEST(PrintColor, LeavesAFileCleanThatTakesThePlaceOfATerminal) {
    EXPECT_EQ(onTerminal([] {
                  logWarn("on the terminal\n");
                  int pipe[2];
                  if (::pipe(pipe) != 0) ::_exit(1);
                  ::dup2(pipe[1], STDOUT_FILENO);
                  logWarn("in the pipe\n");
                  std::fflush(stdout);
                  char text[64] = {};
                  if (::read(pipe[0], text, sizeof(text) - 1) < 0) ::_exit(1);
                  if (std::string(text) != "warn   in the pipe\n") ::_exit(1);
              }),
              "\x1b[33mwarn   on the terminal\r\n\x1b[0m");
}

}  // namespace
