#include "serverprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace Remote {

namespace {

constexpr int s_startMilliSeconds = 10'000;

std::uint16_t readPort(int descriptor) {
    std::string line;
    char letter = 0;
    pollfd output{descriptor, POLLIN, 0};
    while (::poll(&output, 1, s_startMilliSeconds) == 1 && ::read(descriptor, &letter, 1) == 1) {
        if (letter == '\n') return static_cast<std::uint16_t>(std::atoi(line.c_str()));
        line += letter;
    }
    return 0;
}

}  // namespace

ServerProcess::ServerProcess(const std::string& program, std::uint16_t port,
                             const std::string& user, const std::string& password) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::string words[] = {program, std::to_string(port), user};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    if (::posix_spawn(&m_process, program.c_str(), &actions, nullptr, arguments, environ) != 0) {
        m_process = -1;
    }
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    const std::string line = password + "\n";
    if (::write(m_input, line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
        m_port = readPort(output[0]);
    }
    ::close(output[0]);
}

ServerProcess::~ServerProcess() {
    if (m_input >= 0) ::close(m_input);
    reap();
}

void ServerProcess::kill() {
    if (m_process > 0) ::kill(m_process, SIGKILL);
    reap();
}

void ServerProcess::reap() {
    if (m_process > 0) ::waitpid(m_process, nullptr, 0);
    m_process = -1;
}

}  // namespace Remote
