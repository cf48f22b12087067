// A component server: logs clients in by challenge and answer, and tells them its time.
//
// usage: remote_server PORT USER. The password is the first line of standard input; the port is
// printed on standard output; the end of standard input ends the server.

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <list>
#include <memory>
#include <random>
#include <string>

#include "frame.h"
#include "socket.h"
#include "vesko/vesko3/threadlite.h"

namespace Remote {

namespace {

using Tovra::Vesko::CThreadLite;

constexpr std::size_t s_mostPeers = 16;
constexpr int s_lookMilliSeconds = 100;  // between two looks whether the server ends
constexpr int s_userNumber = 7;

struct Account {
    std::string user;
    std::string password;
};

std::string newChallenge() {
    std::random_device random;
    char digits[9];
    std::string challenge;
    for (int i = 0; i < 4; ++i) {
        std::snprintf(digits, sizeof digits, "%08x", random());
        challenge += digits;
    }
    return challenge;
}

/// One peer, on a thread of its own. What it sends wrong ends its connection, and nothing else.
class Session {
public:
    Session(Socket socket, const Account& account)
        : m_socket(std::move(socket)),
          m_account(account),
          m_thread({&Session::run, this}, "session", 64, 0, 0) {
        m_thread.createThread();
    }

    bool isOver() { return m_thread.isThreadOver(); }

private:
    void run(CThreadLite& self) {
        Frame frame;
        if (logIn()) {
            while (next(self, frame) && answer(frame)) {
            }
        }
        m_socket.close();
    }

    // Between frames a peer may be silent for ever; within one it has little time.
    bool next(const CThreadLite& self, Frame& frame) {
        while (self.looping()) {
            if (m_socket.waitReadable(s_lookMilliSeconds)) return receiveFrame(m_socket, frame);
        }
        return false;
    }

    bool logIn() {
        Frame frame;
        if (!receiveFrame(m_socket, frame) || frame.kind != Kind::hello) return false;
        const std::string user = frame.payload;
        const std::string challenge = newChallenge();
        if (!sendFrame(m_socket, {Kind::challenge, challenge})) return false;
        if (!receiveFrame(m_socket, frame) || frame.kind != Kind::answer) return false;
        const bool isRight = sameAnswer(frame.payload, answerTo(challenge, m_account.password)) &&
                             user == m_account.user;
        const Frame verdict{isRight ? Kind::welcome : Kind::refused, std::to_string(s_userNumber)};
        return sendFrame(m_socket, verdict) && isRight;
    }

    bool answer(const Frame& frame) {
        switch (frame.kind) {
            case Kind::time:
                return sendFrame(m_socket, {Kind::time, std::to_string(std::time(nullptr))});
            case Kind::echo:
                return sendFrame(m_socket, {Kind::echo, echoed(frame.payload)});
            default:
                return false;
        }
    }

    Socket m_socket;
    const Account& m_account;
    CThreadLite m_thread;  // last: it uses the others
};

bool parentIsGone() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, 0) == 1;
}

int serve(std::uint16_t port, const Account& account) {
    Socket listener = Socket::listenOn(port);
    if (listener.isEmpty()) {
        std::perror("remote_server: cannot listen");
        return 1;
    }
    std::cout << listener.port() << std::endl;
    std::list<std::unique_ptr<Session>> sessions;
    while (!parentIsGone()) {
        sessions.remove_if([](const auto& session) { return session->isOver(); });
        Socket peer = listener.accept(s_lookMilliSeconds);
        if (peer.isEmpty() || sessions.size() >= s_mostPeers) continue;
        sessions.push_back(std::make_unique<Session>(std::move(peer), account));
    }
    return 0;
}

}  // namespace

}  // namespace Remote

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: remote_server PORT USER, with the password on standard input\n";
        return 2;
    }
    // Byte by byte: what a stream reads ahead would hide that the parent is gone.
    std::string password;
    for (char letter = 0; ::read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n';) {
        password += letter;
    }
    return Remote::serve(static_cast<std::uint16_t>(std::atoi(argv[1])), {argv[2], password});
}
