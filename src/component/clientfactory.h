#pragma once

#include "vesko/component/client.h"

namespace Tovra::Component {

/// Stands in front of a registered client factory, and lets callers share clients.
///
/// It lives for the rest of the process. Whoever deletes the factory behind it sees to it that
/// nothing is created after that.
class IClientFactoryWrap : public IClient::IFactory {
public:
    /// @pre `factory` is a client factory
    explicit IClientFactoryWrap(IFactoryUnknown* factory);

    const char* clsid() override;

    /// Gives the client for a server, or makes one that is the caller's own; a local class always
    /// makes one.
    /// @return null when the factory made none
    IClient* create(const ServerInfo& info) override;

    /// As `create`, for a client on demand: the list holds a reference on it until its first
    /// success.
    IClient* createAndMake(const ServerInfo& info);

private:
    enum class Kind { explicitClient, onDemand };
    IClient* shareOrMake(const ServerInfo& info, Kind kind);
    bool isLocal();

    IClient::IFactory* const m_original;
};

namespace ClientFactory {

/// @pre `client` is not null
int releaseClientObject(IClient* client);

/// See `CClientInstanceList`.
IClient* getClientInstance(const ClassID& clsid, const ServerInfo& info);
IClient* getClientInstance(const ClassID& clsid, int userId);

/// Makes a client on demand, by the factory that the class's text up to its first '.' names.
/// @return null with the last error 0x10030002 when there is no such factory, 0x10030003 when it
///         made none
IClient* createClientInstance(const ClassID& clsid, const ServerInfo& info);

/// @return the one stand-in for a factory
/// @pre `factory` is a client factory
IFactoryUnknown* wrapFactory(IFactoryUnknown* factory);

/// Has the list give back its hold on a client that serves someone now. Null is ignored.
void markUsing(IClient* client);

}  // namespace ClientFactory

}  // namespace Tovra::Component
