#pragma once

#include <cstdint>
#include <string>

#include "vesko/component/client.h"

/// What the server offers, as its users see it.
namespace Remote {

/// A service of a server that a client is logged in on.
class IService : public Tovra::Component::IUnknown {
public:
    /// @param seconds receives the server's time, since 1970
    /// @return false when the server did not answer
    virtual bool getTime(std::uint64_t& seconds) = 0;

    /// Has the server send a text back.
    /// @return false when the server did not answer, or the checksum of its answer is wrong
    virtual bool echo(const std::string& text, std::string& answer) = 0;
};

/// Makes services. It is registered under "Service".
class IServiceFactory : public Tovra::Component::IFactoryUnknown {
public:
    /// @return a new service with one reference, to be released before the client
    virtual IService* create(Tovra::Component::IClient& client) = 0;
};

inline constexpr const char* serviceInterface = "Service";
inline constexpr const char* serviceClass =
    "RemoteServer.Service";  // reached by the client before '.'

}  // namespace Remote
