// The client class "RemoteServer" and the service that is reached through it: a library of its own,
// whose classes are registered as it is loaded.

#include <atomic>
#include <cstdlib>

#include "frame.h"
#include "service.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/locks.h"

namespace Remote {

namespace {

using namespace Tovra::Component;
using Tovra::Vesko::CGuard;

constexpr int s_notLoggedIn = 0x10030004;
constexpr int s_wrongUserOrPassword = 0x10030015;

class Client : public IClient {
public:
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }

    bool checkBroken() override {
        CGuard guard(m_mutex);
        return m_socket.isEmpty() || m_socket.isBroken();
    }

    bool login() override {
        ServerInfo server;
        getServerInfo(server);
        CGuard guard(m_mutex);
        m_socket = Socket::connectTo(static_cast<std::uint16_t>(server.port));
        Frame frame;
        const bool isAsked = !m_socket.isEmpty() &&
                             sendFrame(m_socket, {Kind::hello, server.userName}) &&
                             receiveFrame(m_socket, frame) && frame.kind == Kind::challenge;
        const bool hasVerdict =
            isAsked &&
            sendFrame(m_socket, {Kind::answer, answerTo(frame.payload, server.password)}) &&
            receiveFrame(m_socket, frame);
        if (hasVerdict && frame.kind == Kind::welcome) {
            m_userId = std::atoi(frame.payload.c_str());
            return true;
        }
        const bool isRefused = hasVerdict && frame.kind == Kind::refused;
        Tovra::Vesko::setLastError(isRefused ? s_wrongUserOrPassword : s_notLoggedIn);
        m_socket.close();
        return false;
    }

    bool logout() override {
        CGuard guard(m_mutex);
        const bool isSaid = !m_socket.isEmpty() && sendFrame(m_socket, {Kind::bye, ""});
        m_socket.close();
        return isSaid;
    }

    bool getUserID(int& id) override {
        id = m_userId;  // no lock: the framework asks under locks of its own
        return true;
    }

    /// One question and its answer, of the same kind.
    bool ask(const Frame& question, Frame& answer) {
        CGuard guard(m_mutex);
        if (m_socket.isEmpty()) return false;
        const bool isAnswered = sendFrame(m_socket, question) && receiveFrame(m_socket, answer) &&
                                answer.kind == question.kind;
        if (!isAnswered) m_socket.close();  // what comes later would answer another question
        return isAnswered;
    }

private:
    Tovra::Vesko::CMutex m_mutex;
    Socket m_socket VESKO_GUARDED_BY(m_mutex);
    std::atomic<int> m_userId{-1};
};

class ClientFactory : public IClient::IFactory {
public:
    ClientFactory() { registerFactory(iid()); }
    ~ClientFactory() override { unregisterFactory(iid()); }
    const char* clsid() override { return "RemoteServer"; }
    IClient* create(const ServerInfo&) override { return new Client; }
};

class Service : public IService {
public:
    explicit Service(Client& client) : m_client(client) {}
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }

    bool getTime(std::uint64_t& seconds) override {
        Frame answer;
        if (!m_client.ask({Kind::time, ""}, answer)) return false;
        seconds = std::strtoull(answer.payload.c_str(), nullptr, 10);
        return true;
    }

    bool echo(const std::string& text, std::string& answer) override {
        constexpr std::size_t checksumDigits = 8;
        Frame frame;
        if (!m_client.ask({Kind::echo, text}, frame)) return false;
        if (frame.payload.size() < checksumDigits) return false;
        answer = frame.payload.substr(checksumDigits);
        return frame.payload == echoed(answer);
    }

private:
    Client& m_client;
};

class ServiceFactory : public IServiceFactory {
public:
    ServiceFactory() { registerFactory(serviceInterface); }
    ~ServiceFactory() override { unregisterFactory(serviceInterface); }
    const char* clsid() override { return serviceClass; }
    IService* create(IClient& client) override { return new Service(static_cast<Client&>(client)); }
};

ClientFactory s_clients;
ServiceFactory s_services;

}  // namespace

}  // namespace Remote
