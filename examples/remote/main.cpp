// The road to a component server and back: what a program does that uses one.
//
// usage: remote SERVER_PROGRAM. Each step says what happened; the exit status says whether all did.

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "hostile.h"
#include "serverprocess.h"
#include "service.h"
#include "vesko/component/comptr.h"
#include "vesko/component/helper.h"
#include "vesko/vesko3/error.h"

namespace Remote {

namespace {

using namespace Tovra::Component;
using Helper = Detail::CComponentHelper;

bool s_allWell = true;

void step(const char* text, bool isWell) {
    std::printf("%s %s\n", isWell ? "ok    " : "FAILED", text);
    s_allWell = s_allWell && isWell;
}

/// Gets a service through a client that is logged in: this is all that a user has to do.
TComPtr<IService> serviceOf(const ServerInfo& server) {
    IClient* client = nullptr;
    auto* factory = static_cast<IServiceFactory*>(
        Helper::getComponentFactory(serviceInterface, serviceClass, server, client));
    // The two belong together from here on; a class that was unregistered leaves a client alone.
    return TComPtr<IService>(factory != nullptr ? factory->create(*client) : nullptr, client);
}

bool serves(const TComPtr<IService>& service) {
    std::uint64_t seconds = 0;
    std::string answer;
    return !service.isEmpty() && service->getTime(seconds) && seconds > 0 &&
           service->echo("over and out", answer) && answer == "over and out";
}

void refuseWrongPassword(ServerInfo server) {
    server.password = "wrong";
    const TComPtr<IService> service = serviceOf(server);
    const int error = Tovra::Vesko::getLastError();
    step("a wrong password is refused", service.isEmpty() && error == 0x10030015);
    std::printf("       %s\n", Tovra::Vesko::getErrMsg(error));
}

void share(const ServerInfo& server) {
    IClient* first = nullptr;
    IClient* second = nullptr;
    Helper::getComponentFactory(serviceInterface, serviceClass, server, first);
    Helper::getComponentFactory(serviceInterface, serviceClass, server, second);
    step("a second caller shares the client", first != nullptr && first == second);
    Helper::release(first);
    Helper::release(second);
}

int run(const std::string& program) {
    const std::string user = "operator";
    const std::string password = "open sesame";
    auto process = std::make_unique<ServerProcess>(program, 0, user, password);
    step("the server listens on the loopback address", process->port() != 0);
    if (process->port() == 0) return 1;

    ServerInfo server;
    server.address = "127.0.0.1";
    server.port = process->port();
    server.userName = user.c_str();
    server.password = password.c_str();
    refuseWrongPassword(server);
    {
        const TComPtr<IService> service = serviceOf(server);
        step("a client is logged in, and the server serves", serves(service));
        step("the thread acts for the user that the server named",
             IClient::getCurrentUserID() == 7);
        share(server);

        sendGarbage(process->port());
        step("the server survives what no client would send", serves(service));

        const std::uint16_t port = process->port();
        process->kill();
        step("a killed server serves no more", !serves(service));
        process = std::make_unique<ServerProcess>(program, port, user, password);
        step("the server runs again", process->port() == port);
        step("the next request logs the broken client in anew", serves(serviceOf(server)));
        step("and the service that was there goes on", serves(service));
    }
    IClient* client = nullptr;
    Helper::getComponentFactory(serviceInterface, serviceClass, 7, client);
    step("the last release logged the client out", client == nullptr);
    return s_allWell ? 0 : 1;
}

}  // namespace

}  // namespace Remote

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        std::fputs("usage: remote SERVER_PROGRAM\n", argc == 2 ? stdout : stderr);
        return argc == 2 && std::string(argv[1]) == "--help" ? 0 : 2;
    }
    std::signal(SIGPIPE, SIG_IGN);  // a server that ends before it has read its password
    return Remote::run(argv[1]);
}
